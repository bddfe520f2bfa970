// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "base/LocalTime.h"
#include "fakes/PlatformTest.h"
#include "zones/MachineRoot.h"

namespace unit {
namespace {

using cloudclient::LocalTimeNow;
using cloudclient::LocalTimeText;
using cloudclient::LocalTimeToday;

class LocalTimeTest : public fakes::PlatformTest {};

TEST_F(LocalTimeTest, Is_the_clocks_time_in_the_local_zone) {
  fakes::SetTimeZone("CET-1");
  const struct tm now = LocalTimeNow();
  EXPECT_EQ(now.tm_year, 126);
  EXPECT_EQ(now.tm_mon, 2);
  EXPECT_EQ(now.tm_mday, 5);
  EXPECT_EQ(now.tm_hour, 14);
  EXPECT_EQ(now.tm_min, 7);
  EXPECT_EQ(now.tm_sec, 9);
}

TEST_F(LocalTimeTest, Of_today_is_the_time_of_the_clock) {
  fakes::SetTimeZone("CET-1");
  const time_t midnight = 1772665200;  // 2026-03-05T00:00:00+0100
  EXPECT_EQ(LocalTimeToday(0, 0, 0), midnight);
  EXPECT_EQ(LocalTimeToday(14, 7, 9), fakes::platform().clock.now);
  EXPECT_EQ(LocalTimeToday(23, 59, 59), midnight + 86399);
}

TEST_F(LocalTimeTest, Of_today_is_the_first_of_two) {
  fakes::SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  const time_t october25 = 1792879200;  // 2026-10-25T00:00:00+0200; 02:30 comes twice
  for (const time_t since : {0, 2 * 3600 + 1800, 3 * 3600 + 1800, 24 * 3600}) {
    fakes::platform().clock.now = october25 + since;
    EXPECT_EQ(LocalTimeToday(2, 30, 0), october25 + 2 * 3600 + 1800) << since;
    EXPECT_EQ(LocalTimeToday(3, 0, 0), october25 + 4 * 3600) << since;
  }
}

TEST_F(LocalTimeTest, Of_today_is_behind_the_gap_that_skips_it) {
  fakes::SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  const time_t march29 = 1774738800;  // 2026-03-29T00:00:00+0100; 02:30 does not come
  for (const time_t since : {0, 2 * 3600, 22 * 3600}) {
    fakes::platform().clock.now = march29 + since;
    EXPECT_EQ(LocalTimeToday(2, 30, 0), march29 + 2 * 3600 + 1800) << since;
    EXPECT_EQ(LocalTimeToday(3, 0, 0), march29 + 2 * 3600) << since;
  }
}

TEST_F(LocalTimeTest, Text_has_the_zones_offset_without_a_colon) {
  EXPECT_EQ(LocalTimeText("%FT%T%z", 64), "2026-03-05T13:07:09+0000");
  fakes::SetTimeZone("NST3:30");
  EXPECT_EQ(LocalTimeText("%FT%T%z", 64), "2026-03-05T09:37:09-0330");
}

TEST_F(LocalTimeTest, Text_follows_the_clock) {
  fakes::platform().clock.now += 24 * 3600;
  EXPECT_EQ(LocalTimeText("%F", 64), "2026-03-06");
}

TEST_F(LocalTimeTest, Text_of_another_time_does_not_follow_it) {
  const time_t before = fakes::platform().clock.now;
  const std::string text = LocalTimeText("%H:%M:%S", 80);
  fakes::platform().clock.now += 60;
  EXPECT_EQ(LocalTimeText("%H:%M:%S", 80, before), text);
  EXPECT_NE(LocalTimeText("%H:%M:%S", 80), text);
}

TEST_F(LocalTimeTest, Text_that_does_not_fit_is_empty) {
  EXPECT_EQ(LocalTimeText("%F", 11), "2026-03-05");
  EXPECT_EQ(LocalTimeText("%F", 10), "");
  EXPECT_EQ(LocalTimeText("%F", 0), "");
}

TEST_F(LocalTimeTest, Follows_the_machines_zone) {
  zones::MachineRoot root({"Asia/Kolkata", "America/New_York"});
  ASSERT_EQ(root.Error(), "");
  root.SetZone("Asia/Kolkata");
  EXPECT_EQ(LocalTimeText("%FT%T%z", 64), "2026-03-05T18:37:09+0530");
  root.SetZone("America/New_York");
  EXPECT_EQ(LocalTimeText("%FT%T%z", 64), "2026-03-05T08:07:09-0500");
  root.SetZone("Asia/Kolkata");
  EXPECT_EQ(LocalTimeNow().tm_hour, 18);
  root.SetZone("America/New_York");
  EXPECT_EQ(LocalTimeToday(8, 7, 9), fakes::platform().clock.now);
}

}  // namespace
}  // namespace unit
