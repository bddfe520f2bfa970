// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "ctl/Checkup.h"

namespace {

using ctl::Checkup;

TEST(CheckupTest, Counts_and_names_what_is_wrong) {
  Checkup checkup;
  checkup.Good("clock", "2 s behind");
  checkup.Notice("policy", "none");
  checkup.Skipped("chassis", "not asked");
  EXPECT_EQ(checkup.CountWrong(), 0u);
  checkup.Wrong("disk", "full", "make room");
  checkup.Good("disk", "another one");
  EXPECT_EQ(checkup.CountWrong(), 1u);
  EXPECT_TRUE(checkup.IsWrong("disk"));
  EXPECT_FALSE(checkup.IsWrong("policy"));
  EXPECT_FALSE(checkup.IsWrong("none"));
}

TEST(CheckupTest, Is_a_line_each_and_one_for_what_to_do) {
  Checkup checkup;
  checkup.Good("clock", "fine");
  checkup.Wrong("certificate", "bad\x1b", "trust it");
  EXPECT_EQ(checkup.Text(),
            "good     clock        fine\n"
            "wrong    certificate  bad\\x1B\n"
            "                      to do: trust it\n");
}

TEST(CheckupTest, As_json_holds_any_bytes) {
  Checkup checkup;
  checkup.Notice("a", "b\xff", "c");
  checkup.Skipped("d", "e");
  EXPECT_EQ(host::DumpedJson(checkup.Json().get(), JSON_COMPACT),
            R"([{"verdict":"notice","subject":"a","text":"b?","toDo":"c"},)"
            R"({"verdict":"skipped","subject":"d","text":"e","toDo":""}])");
}

}  // namespace
