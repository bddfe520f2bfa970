// SPDX-License-Identifier: Apache-2.0
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "auth/AuthTest.h"
#include "service/AuthCommands.h"

namespace cloudservice {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class AuthCommandsTest : public AuthTest {
 protected:
  std::string Run(Options options, const std::string& input = "") {
    options.database = OnPostgres() ? DatabaseFor(folder.File("s.db")).Url() : folder.File("s.db");
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

TEST_F(AuthCommandsTest, Account_is_added_listed_and_removed) {
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

TEST_F(AuthCommandsTest, Accounts_are_listed_however_many_there_are) {
  store.Execute(
      "WITH RECURSIVE number (i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM number WHERE i < 2499) "
      "INSERT INTO account (email, created) SELECT i || '@b', 1 FROM number");
  const std::string list = Run(Of(Command::kListAccounts));
  EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 2500);
  EXPECT_THAT(list, StartsWith("0@b  0 keys"));
  EXPECT_THAT(list, HasSubstr("\n1000@b  0 keys"));
  EXPECT_THAT(list, HasSubstr("\n999@b  0 keys"));
}

TEST_F(AuthCommandsTest, Operator_is_added_listed_and_removed) {
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

using SqliteAuthCommandsTest = AuthCommandsTest;

TEST_F(SqliteAuthCommandsTest, Database_is_made_where_that_is_asked_for) {
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
