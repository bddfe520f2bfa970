// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "host/framework/CommandLine.h"

using host::CommandLineOption;

namespace {

CommandLineOption Of(std::initializer_list<std::string> arguments) {
  std::string commandLine;
  for (const std::string& argument : arguments) commandLine += argument + '\0';
  return host::CommandLineOptionOf(commandLine);
}

}  // namespace

TEST(CommandLineTest, Help_and_version_are_asked_for_by_the_only_argument) {
  EXPECT_EQ(Of({"/usr/bin/cloudclient", "--help"}), CommandLineOption::kHelp);
  EXPECT_EQ(Of({"cloudclient", "--version"}), CommandLineOption::kVersion);
  EXPECT_EQ(Of({"", "--help"}), CommandLineOption::kHelp);
}

TEST(CommandLineTest, Everything_else_runs) {
  EXPECT_EQ(Of({}), CommandLineOption::kNone);
  EXPECT_EQ(Of({"cloudclient"}), CommandLineOption::kNone);
  EXPECT_EQ(Of({"--help"}), CommandLineOption::kNone);
  EXPECT_EQ(Of({"cloudclient", ""}), CommandLineOption::kNone);
  EXPECT_EQ(Of({"cloudclient", "-h"}), CommandLineOption::kNone);
  EXPECT_EQ(Of({"cloudclient", "--Help"}), CommandLineOption::kNone);
  EXPECT_EQ(Of({"cloudclient", "--helpme"}), CommandLineOption::kNone);
  EXPECT_EQ(Of({"cloudclient", "--help", ""}), CommandLineOption::kNone);
  EXPECT_EQ(Of({"cloudclient", "--help", "--version"}), CommandLineOption::kNone);
  EXPECT_EQ(Of({"cloudclient", "x", "--help"}), CommandLineOption::kNone);
}
