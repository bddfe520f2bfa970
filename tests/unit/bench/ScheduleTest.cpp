// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <set>

#include <gtest/gtest.h>

#include "Schedule.h"

namespace fleet {
namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

TEST(ScheduleTest, Without_a_rate_nothing_is_due) {
  EXPECT_FALSE(Schedule({}).Next());
  EXPECT_FALSE(Schedule({0, 0}).Next());
}

TEST(ScheduleTest, Requests_of_one_series_are_equally_far_apart) {
  Schedule schedule({4});
  for (int turn = 0; turn < 100; ++turn) {
    const auto due = schedule.Next();
    ASSERT_TRUE(due);
    EXPECT_EQ(due->turn, turn);
    EXPECT_EQ(due->series, 0U);
    EXPECT_EQ(due->at, std::chrono::milliseconds(125 + 250 * turn));
  }
}

TEST(ScheduleTest, A_series_without_a_rate_leaves_the_others_alone) {
  Schedule schedule({0, 1});
  EXPECT_EQ(schedule.Next()->series, 1U);
  EXPECT_EQ(schedule.Next()->series, 1U);
}

TEST(ScheduleTest, Several_series_come_in_the_order_of_time_and_never_together) {
  Schedule schedule({100, 100, 50});
  std::set<nanoseconds> times;
  nanoseconds last{-1};
  std::vector<int> counts(3);
  for (auto due = schedule.Next(); due->at < seconds(10); due = schedule.Next()) {
    EXPECT_GT(due->at, last);
    last = due->at;
    times.insert(due->at);
    ++counts[due->series];
  }
  EXPECT_EQ(counts, (std::vector<int>{1000, 1000, 500}));
  EXPECT_EQ(times.size(), 2500U);
}

TEST(ScheduleTest, A_million_requests_later_the_time_is_still_right) {
  Schedule schedule({1.0 / 3});
  Schedule::Due due;
  for (int i = 0; i <= 1000000; ++i) due = *schedule.Next();
  const double expected = (1000000 + 0.5) * 3;
  EXPECT_LT(std::abs(std::chrono::duration<double>(due.at).count() - expected), 1e-6);
}

}  // namespace
}  // namespace fleet
