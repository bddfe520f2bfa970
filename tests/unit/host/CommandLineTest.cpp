// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "host/framework/CommandLine.h"

using host::Errand;

namespace {

Errand Of(std::initializer_list<std::string> arguments) {
  std::string commandLine;
  for (const std::string& argument : arguments) commandLine += argument + '\0';
  return host::ErrandOf(commandLine);
}

}  // namespace

TEST(CommandLineTest, Help_and_version_are_asked_for_by_the_only_argument) {
  EXPECT_EQ(Of({"/usr/bin/cloudclient", "--help"}), Errand::kHelp);
  EXPECT_EQ(Of({"cloudclient", "--version"}), Errand::kVersion);
  EXPECT_EQ(Of({"", "--help"}), Errand::kHelp);
}

TEST(CommandLineTest, Everything_else_runs) {
  EXPECT_EQ(Of({}), Errand::kRun);
  EXPECT_EQ(Of({"cloudclient"}), Errand::kRun);
  EXPECT_EQ(Of({"--help"}), Errand::kRun);
  EXPECT_EQ(Of({"cloudclient", ""}), Errand::kRun);
  EXPECT_EQ(Of({"cloudclient", "-h"}), Errand::kRun);
  EXPECT_EQ(Of({"cloudclient", "--Help"}), Errand::kRun);
  EXPECT_EQ(Of({"cloudclient", "--helpme"}), Errand::kRun);
  EXPECT_EQ(Of({"cloudclient", "--help", ""}), Errand::kRun);
  EXPECT_EQ(Of({"cloudclient", "--help", "--version"}), Errand::kRun);
  EXPECT_EQ(Of({"cloudclient", "x", "--help"}), Errand::kRun);
}
