// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "TempFolder.h"
#include "TestStore.h"
#include "service/AuthCommands.h"
#include "service/auth/Accounts.h"
#include "service/auth/Operators.h"
#include "service/util/Secret.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

TEST(Secrets, Hash_matches_its_password_alone_and_is_another_each_time) {
  const std::string hash = HashPassword("a password");
  EXPECT_THAT(hash, MatchesRegex("scrypt\\$15\\$8\\$1\\$[0-9a-f]{32}\\$[0-9a-f]{64}"));
  EXPECT_TRUE(MatchesPassword("a password", hash));
  EXPECT_FALSE(MatchesPassword("a passwore", hash));
  EXPECT_FALSE(MatchesPassword("", hash));
  EXPECT_NE(HashPassword("a password"), hash);
}

TEST(Secrets, What_is_no_hash_matches_nothing) {
  for (const char* hash : {"", "a password", "scrypt$15$8$1$00", "scrypt$99$8$1$00$00",
                           "scrypt$0$8$1$00$00", "scrypt$x$8$1$00$00", "bcrypt$15$8$1$00$00"}) {
    EXPECT_FALSE(MatchesPassword("a password", hash)) << hash;
  }
}

TEST(Secrets, Passwords_for_people_are_told_apart) {
  const std::string password = RandomPassword();
  EXPECT_THAT(password, MatchesRegex("([a-km-np-z2-9]{5}-){3}[a-km-np-z2-9]{5}"));
  EXPECT_NE(RandomPassword(), password);
}

TEST(Secrets, Base64_is_read_strictly) {
  EXPECT_EQ(DecodeBase64("YTpi"), "a:b");
  EXPECT_EQ(DecodeBase64("YWI="), "ab");
  EXPECT_EQ(DecodeBase64("YQ=="), "a");
  for (const char* text : {"", "YTp", "YT=i", " YTpi", "YTpi\n", "Y===", "====", "YT-_"}) {
    EXPECT_FALSE(DecodeBase64(text)) << text;
  }
}

class Limit : public testing::Test {
 protected:
  std::int64_t now = 500;
  FailureLimit limit{[this] { return now; }};
};

TEST_F(Limit, Tries_come_back_one_by_one) {
  for (int i = 0; i < FailureLimit::kTries; ++i) {
    EXPECT_EQ(limit.Wait("192.0.2.1"), 0);
    limit.Fail("192.0.2.1");
  }
  EXPECT_EQ(limit.Wait("192.0.2.1"), 30);
  now += 29;
  EXPECT_EQ(limit.Wait("192.0.2.1"), 1);
  now += 1;
  EXPECT_EQ(limit.Wait("192.0.2.1"), 0);
  limit.Fail("192.0.2.1");
  EXPECT_EQ(limit.Wait("192.0.2.1"), 30);
}

TEST_F(Limit, Never_more_than_all_tries_come_back) {
  limit.Fail("192.0.2.1");
  now += 1000000;
  for (int i = 0; i < FailureLimit::kTries; ++i) limit.Fail("192.0.2.1");
  EXPECT_EQ(limit.Wait("192.0.2.1"), 30);
}

TEST_F(Limit, Each_sender_has_its_own) {
  for (int i = 0; i < FailureLimit::kTries; ++i) {
    limit.Fail("192.0.2.1");
    limit.Fail("2001:db8:0:1::" + std::to_string(i));
  }
  EXPECT_EQ(limit.Wait("192.0.2.2"), 0);
  EXPECT_EQ(limit.Wait("::ffff:192.0.2.1"), 0);
  EXPECT_EQ(limit.Wait("2001:db8:0:1:ffff::"), 30) << "one network, one sender";
  EXPECT_EQ(limit.Wait("2001:db8:0:2::1"), 0);
}

TEST_F(Limit, Memory_has_an_end_and_keeps_who_was_wrong_most) {
  limit.Fail("most");
  limit.Fail("most");
  for (std::size_t i = 0; i < FailureLimit::kMaxAddresses + 50; ++i) {
    limit.Fail("a" + std::to_string(i));
  }
  EXPECT_EQ(limit.Addresses(), FailureLimit::kMaxAddresses);
  for (int i = 0; i < FailureLimit::kTries - 2; ++i) limit.Fail("most");
  EXPECT_EQ(limit.Wait("most"), 30);
}

class Owners : public testing::Test {
 protected:
  TempFolder folder;
  std::int64_t now = 1772716029;
  std::int64_t steady = 1000;
  TestStore store{folder.File("s.db")};
  Accounts accounts{store, [this] { return now; }, [this] { return steady; }};
  Operators operators{store, [this] { return now; }, [this] { return steady; }};

  template <typename Function>
  static std::string Fails(Function function) {
    try {
      function();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    ADD_FAILURE() << "nothing was wrong";
    return "";
  }
  static std::string Basic(const std::string& base64) { return "Basic " + base64; }
};

TEST_F(Owners, Account_has_several_keys_until_they_are_replaced) {
  EXPECT_TRUE(accounts.Add("a@b", "k1"));
  EXPECT_FALSE(accounts.Add("a@b", "k1"));
  EXPECT_TRUE(accounts.Add("a@b", "k2"));
  EXPECT_TRUE(accounts.Admit("p", "a@b", "k1").account);
  EXPECT_TRUE(accounts.Admit("p", "a@b", "k2").account);
  EXPECT_FALSE(accounts.Admit("p", "A@b", "k2").account);
  EXPECT_TRUE(accounts.Add("a@b", "k3", true));
  EXPECT_FALSE(accounts.Admit("p", "a@b", "k1").account);
  EXPECT_TRUE(accounts.Admit("p", "a@b", "k3").account);
  EXPECT_EQ(store->ListAccounts("", 9).at(0).keys, 1);
  for (const std::string& hash : store->ListRegistrationKeys(store->FindAccount("a@b")->id)) {
    EXPECT_THAT(hash, StartsWith("scrypt$"));
  }
}

TEST_F(Owners, Keys_of_an_account_share_their_salt_unless_two_came_at_once) {
  accounts.Add("a@b", "k1");
  accounts.Add("a@b", "k2");
  const std::int64_t account = store->FindAccount("a@b")->id;
  const std::vector<std::string> hashes = store->ListRegistrationKeys(account);
  ASSERT_EQ(hashes.size(), 2u);
  EXPECT_NE(hashes[0], hashes[1]);
  EXPECT_EQ(hashes[0].substr(0, hashes[0].rfind('$')), hashes[1].substr(0, hashes[1].rfind('$')));
  store->AddRegistrationKey("a@b", HashPassword("k3"), false, now);
  for (const char* key : {"k1", "k2", "k3"}) {
    EXPECT_EQ(accounts.Admit("p", "a@b", key).account, account);
  }
  EXPECT_FALSE(accounts.Admit("p", "a@b", "k4").account);
}

TEST_F(Owners, What_cannot_stand_in_a_query_is_no_account) {
  EXPECT_THAT(Fails([&] { accounts.Add("a b@c", "k"); }),
              HasSubstr("the e-mail address has a blank"));
  EXPECT_THAT(Fails([&] { accounts.Add("", "k"); }), HasSubstr("the e-mail address has to have"));
  EXPECT_THAT(Fails([&] { accounts.Add("a@b", "k#"); }), HasSubstr("the registration key has"));
  EXPECT_THAT(Fails([&] { accounts.Add("a@b", "&registration_key=x"); }), HasSubstr("in it"));
  EXPECT_FALSE(accounts.Any());
}

TEST_F(Owners, Keys_have_an_end) {
  for (std::size_t i = 0; i < kMaxKeys; ++i) {
    store->AddRegistrationKey("a@b", "hash", false, 1);
  }
  EXPECT_THAT(Fails([&] { accounts.Add("a@b", "k"); }), HasSubstr("a@b has 8 keys already"));
}

TEST_F(Owners, Operator_is_known_by_password_session_or_token) {
  operators.AddWithPassword("olga", "passw:rd");
  const std::string token = operators.AddWithToken("script");
  const Identity olga = operators.Check("p", "olga", "passw:rd");
  ASSERT_TRUE(olga.person);
  EXPECT_EQ(operators.Identify("p", {"", Basic("b2xnYTpwYXNzdzpyZA==")}).name, "olga");
  EXPECT_EQ(operators.Identify("p", {operators.Begin(*olga.person), ""}).name, "olga");
  EXPECT_EQ(operators.Identify("p", {"", "bearer  " + token}).name, "script");
  for (const std::string& wrong : {std::string("Bearer"), std::string("Bearer x"), "Basic " + token,
                                   Basic("b2xnYQ=="), std::string("Digest x")}) {
    EXPECT_FALSE(operators.Identify("p", {"", wrong}).person) << wrong;
  }
  EXPECT_FALSE(operators.Identify("p", {"", ""}).person);
  EXPECT_FALSE(operators.Check("p", "script", token).person);
}

TEST_F(Owners, Removed_operator_is_out_at_once_also_when_the_name_comes_back) {
  operators.AddWithPassword("olga", "password");
  const std::int64_t id = *operators.Check("p", "olga", "password").person;
  const std::string session = operators.Begin(id);
  EXPECT_TRUE(operators.Holds(id, session));
  EXPECT_TRUE(store->DeleteOperator("olga"));
  EXPECT_FALSE(operators.Holds(id, session));
  EXPECT_FALSE(operators.Check("p", "olga", "password").person);
  operators.AddWithPassword("olga", "another one");
  EXPECT_FALSE(operators.Identify("p", {session, ""}).person);
  EXPECT_FALSE(operators.Check("p", "olga", "password").person);
}

TEST_F(Owners, Session_ends_when_nobody_asks_and_when_told) {
  operators.AddWithPassword("olga", "password");
  const std::int64_t id = *operators.Check("p", "olga", "password").person;
  const std::string session = operators.Begin(id);
  steady += kSessionSeconds - 1;
  now -= 1000000;
  EXPECT_TRUE(operators.Identify("p", {session, ""}).person);
  steady += kSessionSeconds - 1;
  EXPECT_TRUE(operators.Identify("p", {session, ""}).person);
  steady += kSessionSeconds;
  EXPECT_FALSE(operators.Identify("p", {session, ""}).person);
  const std::string other = operators.Begin(id);
  operators.End(other);
  EXPECT_FALSE(operators.Holds(id, other));
}

TEST_F(Owners, Sessions_have_an_end_and_the_oldest_goes) {
  operators.AddWithToken("script");
  const std::int64_t id = store->FindOperator("script")->id;
  const std::string first = operators.Begin(id);
  ++steady;
  for (std::size_t i = 0; i < kMaxSessions; ++i) operators.Begin(id);
  EXPECT_FALSE(operators.Holds(id, first));
}

TEST_F(Owners, Wrong_passwords_have_to_wait_and_the_right_ones_with_them) {
  operators.AddWithPassword("olga", "password");
  operators.AddWithPassword("otto", "password");
  EXPECT_TRUE(operators.Check("p", "olga", "password").person);
  for (int i = 0; i < FailureLimit::kTries; ++i) {
    EXPECT_EQ(operators.Check("p", i % 2 == 0 ? "olga" : "nobody", "wrong").wait, 0);
  }
  EXPECT_EQ(operators.Check("p", "olga", "wrong").wait, 30);
  EXPECT_EQ(operators.Check("p", "otto", "password").wait, 30);
  EXPECT_FALSE(operators.Check("p", "olga", "password").person);
  EXPECT_TRUE(operators.Check("q", "otto", "password").person);
  steady += 30;
  EXPECT_TRUE(operators.Check("p", "olga", "password").person);
  EXPECT_EQ(operators.Check("p", "olga", "wrong").wait, 0);
}

TEST_F(Owners, Names_and_passwords_have_a_form) {
  for (const std::string& name :
       {std::string(), std::string("a:b"), std::string("a\nb"), std::string(65, 'a')}) {
    EXPECT_THAT(Fails([&] { operators.AddWithToken(name); }), StartsWith("an operator's name has"));
  }
  EXPECT_THAT(Fails([&] { operators.AddWithPassword("a", "short"); }), HasSubstr("8 to 1024"));
  operators.AddWithToken("a");
  EXPECT_EQ(Fails([&] { operators.AddWithPassword("a", "password"); }),
            "there is an operator a already");
}

class Commands : public Owners {
 protected:
  std::string Run(Options options, const std::string& input = "") {
    options.database = folder.File("s.db");
    std::istringstream in(input);
    std::ostringstream out;
    RunOwnersCommand(
        options, [this] { return now; }, in, out);
    return out.str();
  }
  static Options Of(Command command, const std::string& subject = "") {
    Options options;
    options.command = command;
    options.subject = subject;
    return options;
  }
};

TEST_F(Commands, Account_is_added_listed_and_removed) {
  const std::string told = Run(Of(Command::kAddAccount, "a@b"));
  ASSERT_THAT(told, StartsWith("registration key: "));
  const std::string key = told.substr(18, told.size() - 19);
  EXPECT_TRUE(accounts.Admit("p", "a@b", key).account);
  Options given = Of(Command::kAddAccount, "a@b");
  given.secretFromInput = true;
  EXPECT_EQ(Run(given, "my-key\n"), "");
  EXPECT_EQ(Fails([&] { Run(given, "my-key\n"); }), "a@b has this key already");
  EXPECT_EQ(Fails([&] { Run(given); }), "standard input has no line to read");
  EXPECT_EQ(Run(Of(Command::kListAccounts)),
            "a@b  2 keys, 0 appliances, since 2026-03-05T13:07:09Z\n");
  EXPECT_EQ(Run(Of(Command::kRemoveAccount, "a@b")), "");
  EXPECT_EQ(Fails([&] { Run(Of(Command::kRemoveAccount, "a@b")); }), "there is no account a@b");
}

TEST_F(Commands, Accounts_are_listed_however_many_there_are) {
  Database(folder.File("s.db"))
      .Execute(
          "WITH RECURSIVE number (i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM number LIMIT 2500) "
          "INSERT INTO account (email, created) SELECT i || '@b', 1 FROM number");
  const std::string list = Run(Of(Command::kListAccounts));
  EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 2500);
  EXPECT_THAT(list, StartsWith("0@b  0 keys"));
  EXPECT_THAT(list, HasSubstr("\n1000@b  0 keys"));
  EXPECT_THAT(list, HasSubstr("\n999@b  0 keys"));
}

TEST_F(Commands, Operator_is_added_listed_and_removed) {
  const std::string told = Run(Of(Command::kAddOperator, "olga"));
  ASSERT_THAT(told, StartsWith("password: "));
  EXPECT_TRUE(operators.Check("p", "olga", told.substr(10, told.size() - 11)).person);
  Options script = Of(Command::kAddOperator, "script");
  script.withToken = true;
  const std::string token = Run(script);
  EXPECT_EQ(operators.Identify("p", {"", "Bearer " + token.substr(7, 64)}).name, "script");
  EXPECT_EQ(Run(Of(Command::kListOperators)),
            "olga  password, since 2026-03-05T13:07:09Z\n"
            "script  token, since 2026-03-05T13:07:09Z\n");
  EXPECT_EQ(Run(Of(Command::kRemoveOperator, "olga")), "");
  EXPECT_EQ(Fails([&] { Run(Of(Command::kRemoveOperator, "olga")); }), "there is no operator olga");
}

TEST_F(Commands, Database_is_made_where_that_is_asked_for) {
  std::istringstream in;
  std::ostringstream out;
  const auto run = [&](Options options) {
    options.database = folder.File("none.db");
    RunOwnersCommand(
        options, [] { return time_t{1}; }, in, out);
  };
  for (const Command command : {Command::kAddAccount, Command::kListAccounts, Command::kAddOperator,
                                Command::kListOperators}) {
    EXPECT_EQ(Fails([&] { run(Of(command, "x")); }),
              "cannot open " + folder.File("none.db") + ": it is not there");
  }
  Options add = Of(Command::kAddOperator, "x");
  add.create = true;
  run(add);
  run(add = Of(Command::kAddAccount, "x"));
}

}  // namespace
}  // namespace cloudservice
