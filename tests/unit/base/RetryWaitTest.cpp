// SPDX-License-Identifier: Apache-2.0
// The waits between attempts.
#include <sys/resource.h>

#include "base/RetryWait.h"
#include "fakes/PlatformTest.h"

namespace cloudclient {
namespace {

class RetryWaitTest : public fakes::PlatformTest {
 protected:
  void Begin(double now) { wait.Begin(now, 5, 30); }

  RetryWait wait;
};

TEST_F(RetryWaitTest, Is_over_before_the_first) {
  EXPECT_TRUE(wait.IsOver(0));
  EXPECT_EQ(wait.Longest(), 0);
}

TEST_F(RetryWaitTest, Doubles_from_the_first_up_to_the_longest) {
  for (const long longest : {5, 10, 20, 30, 30}) {
    Begin(1000);
    EXPECT_EQ(wait.Longest(), longest);
  }
}

TEST_F(RetryWaitTest, Takes_from_half_to_all_of_its_longest_evenly) {
  int early = 0;
  for (int i = 0; i < 1000; ++i) {
    wait.Reset();
    Begin(1000);
    EXPECT_FALSE(wait.IsOver(1002.499));
    EXPECT_TRUE(wait.IsOver(1005));
    if (wait.IsOver(1003.75)) ++early;
  }
  // 500 and five times the standard deviation.
  EXPECT_GT(early, 420);
  EXPECT_LT(early, 580);
}

TEST_F(RetryWaitTest, Is_drawn_by_the_clock_where_the_system_gives_no_number) {
  rlimit files = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &files), 0);
  const rlimit none = {0, files.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  fakes::platform().clock.monotonicUs = 500000;  // nearly half of the numbers
  wait.Begin(1000, 5, 30);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &files), 0);
  EXPECT_FALSE(wait.IsOver(1003.6));
  EXPECT_TRUE(wait.IsOver(1003.7));
}

TEST_F(RetryWaitTest, Begins_with_the_first_again_after_a_reset) {
  Begin(1000);
  Begin(1000);
  wait.Reset();
  EXPECT_TRUE(wait.IsOver(0));
  Begin(1000);
  EXPECT_EQ(wait.Longest(), 5);
}

TEST_F(RetryWaitTest, Is_long_over_after_the_longest_wait_more) {
  Begin(1000);
  EXPECT_FALSE(wait.IsLongOver(1032.499, 30));
  EXPECT_TRUE(wait.IsLongOver(1035, 30));
}

TEST_F(RetryWaitTest, Is_measured_by_the_monotonic_clock) {
  fakes::platform().clock.monotonicUs = 12250000;
  fakes::platform().clock.now += 86400;
  EXPECT_EQ(RetryWait::Now(), 12.25);
}

}  // namespace
}  // namespace cloudclient
