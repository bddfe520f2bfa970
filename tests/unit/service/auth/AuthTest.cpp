// SPDX-License-Identifier: Apache-2.0
#include "AuthTest.h"

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/util/Secret.h"

namespace cloudservice {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST_F(AuthTest, Account_has_several_keys_until_they_are_replaced) {
  EXPECT_TRUE(accounts.Add("a@b", "k1"));
  EXPECT_FALSE(accounts.Add("a@b", "k1"));
  EXPECT_TRUE(accounts.Add("a@b", "k2"));
  EXPECT_TRUE(accounts.Admit("p", "a@b", "k1").account);
  EXPECT_TRUE(accounts.Admit("p", "a@b", "k2").account);
  EXPECT_FALSE(accounts.Admit("p", "A@b", "k2").account);
  EXPECT_TRUE(accounts.Add("a@b", "k3", true));
  EXPECT_FALSE(accounts.Admit("p", "a@b", "k1").account);
  EXPECT_TRUE(accounts.Admit("p", "a@b", "k3").account);
  EXPECT_EQ(store->ListAccounts({{}, 9}).at(0).keys, 1);
  for (const std::string& hash : store->ListRegistrationKeys(store->FindAccount("a@b")->id)) {
    EXPECT_THAT(hash, StartsWith("scrypt$"));
  }
}

TEST_F(AuthTest, Keys_of_an_account_share_their_salt_unless_two_came_at_once) {
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

TEST_F(AuthTest, What_cannot_stand_in_a_query_is_no_account) {
  EXPECT_THAT(Fails([&] { accounts.Add("a b@c", "k"); }),
              HasSubstr("the e-mail address has a blank"));
  EXPECT_THAT(Fails([&] { accounts.Add("", "k"); }), HasSubstr("the e-mail address has to have"));
  EXPECT_THAT(Fails([&] { accounts.Add("a@b", "k#"); }), HasSubstr("the registration key has"));
  EXPECT_THAT(Fails([&] { accounts.Add("a@b", "&registration_key=x"); }), HasSubstr("in it"));
  EXPECT_FALSE(accounts.Any());
}

TEST_F(AuthTest, Keys_have_an_end) {
  for (std::size_t i = 0; i < kMaxKeys; ++i) {
    store->AddRegistrationKey("a@b", "hash", false, 1);
  }
  EXPECT_THAT(Fails([&] { accounts.Add("a@b", "k"); }), HasSubstr("a@b has 8 keys already"));
}

TEST_F(AuthTest, Operator_is_known_by_password_session_or_token) {
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

TEST_F(AuthTest, Removed_operator_is_out_at_once_also_when_the_name_comes_back) {
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

TEST_F(AuthTest, Session_ends_when_nobody_asks_and_when_told) {
  operators.AddWithPassword("olga", "password");
  const std::int64_t id = *operators.Check("p", "olga", "password").person;
  const std::string session = operators.Begin(id);
  now += kSessionSeconds - 1;
  EXPECT_TRUE(operators.Identify("p", {session, ""}).person);
  now += kSessionSeconds - 1;
  EXPECT_TRUE(operators.Identify("p", {session, ""}).person);
  now += kSessionSeconds;
  EXPECT_FALSE(operators.Identify("p", {session, ""}).person);
  const std::string other = operators.Begin(id);
  operators.End(other);
  EXPECT_FALSE(operators.Holds(id, other));
}

TEST_F(AuthTest, Sessions_have_an_end_and_the_oldest_goes) {
  operators.AddWithToken("script");
  const std::int64_t id = store->FindOperator("script")->id;
  const std::string first = operators.Begin(id);
  ++now;
  for (std::int64_t i = 0; i < kMaxSessions; ++i) operators.Begin(id);
  EXPECT_FALSE(operators.Holds(id, first));
}

TEST_F(AuthTest, Wrong_passwords_have_to_wait_and_the_right_one_with_them) {
  operators.AddWithPassword("olga", "password");
  EXPECT_TRUE(operators.Check("p", "olga", "password").person);
  for (int i = 0; i < FailureLimit::kTries; ++i) {
    EXPECT_EQ(operators.Check("p", "olga", "wrong " + std::to_string(i)).wait, 0);
  }
  EXPECT_EQ(operators.Check("p", "olga", "wrong").wait, 30);
  EXPECT_EQ(operators.Check("p", "olga", "password").wait, 30);
  EXPECT_FALSE(operators.Check("p", "olga", "password").person);
  now += 30;
  EXPECT_TRUE(operators.Check("p", "olga", "password").person);
  EXPECT_EQ(operators.Check("p", "olga", "wrong").wait, 0);
}

TEST_F(AuthTest, Others_do_not_wait_for_who_is_wrong) {
  operators.AddWithPassword("olga", "password");
  operators.AddWithPassword("otto", "password");
  for (int i = 0; i < FailureLimit::kTries; ++i) {
    operators.Check("p", "olga", "wrong " + std::to_string(i));
  }
  EXPECT_TRUE(operators.Check("p", "otto", "password").person) << "another account";
  EXPECT_TRUE(operators.Check("q", "olga", "password").person) << "another address";
}

TEST_F(AuthTest, All_processes_count_wrong_passwords_together) {
  operators.AddWithPassword("olga", "password");
  TestStore otherStore{folder.File("s.db")};
  Operators other{otherStore, [this] { return now; }};
  for (int i = 0; i < FailureLimit::kTries; ++i) {
    (i % 2 == 0 ? operators : other).Check("p", "olga", "wrong " + std::to_string(i));
  }
  EXPECT_EQ(operators.Check("p", "olga", "wrong").wait, 30);
  EXPECT_EQ(other.Check("p", "olga", "wrong").wait, 30);
}

TEST_F(AuthTest, Session_of_one_process_is_known_to_the_others) {
  operators.AddWithPassword("olga", "password");
  TestStore otherStore{folder.File("s.db")};
  Operators other{otherStore, [this] { return now; }};
  const std::int64_t id = store->FindOperator("olga")->id;
  const std::string session = operators.Begin(id);
  EXPECT_EQ(other.Identify("p", {session, ""}).name, "olga");
  other.End(session);
  EXPECT_FALSE(operators.Identify("p", {session, ""}).person);
}

TEST_F(AuthTest, Use_of_a_session_is_noted_once_a_minute) {
  operators.AddWithPassword("olga", "password");
  const std::int64_t id = store->FindOperator("olga")->id;
  const std::string session = operators.Begin(id);
  const std::int64_t begun = now;
  const auto used = [&] { return store->FindSession(Sha256Hex(session))->used; };
  now += 59;
  operators.Identify("p", {session, ""});
  EXPECT_EQ(used(), begun);
  now += 1;
  operators.Identify("p", {session, ""});
  EXPECT_EQ(used(), begun + 60);
  now -= 1000000;
  EXPECT_TRUE(operators.Identify("p", {session, ""}).person);
  EXPECT_EQ(used(), now) << "the clock was set back";
}

TEST_F(AuthTest, Same_wrong_secret_counts_once_until_it_is_right) {
  operators.AddWithPassword("olga", "password");
  accounts.Add("a@b", "k1");
  for (int i = 0; i <= FailureLimit::kTries; ++i) {
    EXPECT_FALSE(operators.Check("p", "olga", "wrong").person);
    EXPECT_FALSE(accounts.Admit("p", "a@b", "k2").account);
  }
  EXPECT_TRUE(operators.Check("p", "olga", "password").person);
  EXPECT_TRUE(accounts.Admit("p", "a@b", "k1").account);
  accounts.Add("a@b", "k2");
  EXPECT_TRUE(accounts.Admit("p", "a@b", "k2").account);
  store->DeleteOperator("olga");
  operators.AddWithPassword("olga", "wrong password");
  EXPECT_TRUE(operators.Check("p", "olga", "wrong password").person);
}

TEST_F(AuthTest, Names_and_passwords_have_a_form) {
  for (const std::string& name :
       {std::string(), std::string("a:b"), std::string("a\nb"), std::string(65, 'a')}) {
    EXPECT_THAT(Fails([&] { operators.AddWithToken(name); }), StartsWith("an operator's name has"));
  }
  EXPECT_THAT(Fails([&] { operators.AddWithPassword("a", "short"); }), HasSubstr("8 to 1024"));
  operators.AddWithToken("a");
  EXPECT_EQ(Fails([&] { operators.AddWithPassword("a", "password"); }),
            "there is an operator a already");
}

}  // namespace
}  // namespace cloudservice
