// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <stdexcept>

#include <gtest/gtest.h>

#include "Proc.h"

namespace fleet {
namespace {

constexpr const char* kStat =
    " S 17 42 42 0 -1 4194560 1 2 3 4 100 20 3000 400 20 0 12 0 5 6 7 18446744073709551615\n";

TEST(ProcTest, Reads_parent_ticks_and_threads) {
  const auto stat = ParseStat(std::string("42 (cloudservice)") + kStat);
  ASSERT_TRUE(stat);
  EXPECT_EQ(stat->parent, 17);
  EXPECT_EQ(stat->ticks, 3520);
  EXPECT_EQ(stat->threads, 12);
}

TEST(ProcTest, A_name_may_hold_brackets_and_blanks) {
  const auto stat = ParseStat(std::string("42 (a) S 1 (b) c)") + kStat);
  ASSERT_TRUE(stat);
  EXPECT_EQ(stat->parent, 17);
  EXPECT_EQ(stat->ticks, 3520);
}

TEST(ProcTest, A_text_of_another_form_is_none) {
  EXPECT_FALSE(ParseStat(""));
  EXPECT_FALSE(ParseStat("42 cloudservice S 17"));
  EXPECT_FALSE(ParseStat("42 (cloudservice) S 17 42"));
}

TEST(ProcTest, Finds_a_line_of_kibibytes_by_its_whole_name) {
  const std::string text = "Pss_Anon:   7 kB\nPss:   1234 kB\nRss:  99 kB\n";
  EXPECT_EQ(KibOf(text, "Pss"), 1234);
  EXPECT_EQ(KibOf(text, "Rss"), 99);
  EXPECT_EQ(KibOf(text, "Swap"), 0);
}

TEST(ProcTest, Tells_what_this_process_takes) {
  const Usage usage = UsageOf(getpid());
  EXPECT_GE(usage.processes, 1);
  EXPECT_GE(usage.threads, 1);
  EXPECT_GT(usage.residentKib, 0);
}

TEST(ProcTest, A_process_that_is_gone_throws) {
  EXPECT_THROW(UsageOf(0x7ffffff0), std::runtime_error);
}

}  // namespace
}  // namespace fleet
