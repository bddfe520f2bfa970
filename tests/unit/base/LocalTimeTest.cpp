#include <gtest/gtest.h>

#include "base/LocalTime.h"
#include "fakes/PlatformTest.h"

namespace unit {
namespace {

using cloudclient::LocalTimeNow;
using cloudclient::LocalTimeText;

class LocalTime : public fakes::PlatformTest {};

TEST_F(LocalTime, Is_the_clocks_time_in_the_local_zone) {
  fakes::SetTimeZone("CET-1");
  const struct tm now = LocalTimeNow();
  EXPECT_EQ(now.tm_year, 126);
  EXPECT_EQ(now.tm_mon, 2);
  EXPECT_EQ(now.tm_mday, 5);
  EXPECT_EQ(now.tm_hour, 14);
  EXPECT_EQ(now.tm_min, 7);
  EXPECT_EQ(now.tm_sec, 9);
}

TEST_F(LocalTime, Text_has_the_zones_offset_without_a_colon) {
  EXPECT_EQ(LocalTimeText("%FT%T%z", 64), "2026-03-05T13:07:09+0000");
  fakes::SetTimeZone("NST3:30");
  EXPECT_EQ(LocalTimeText("%FT%T%z", 64), "2026-03-05T09:37:09-0330");
}

TEST_F(LocalTime, Text_follows_the_clock) {
  fakes::platform().clock.now += 24 * 3600;
  EXPECT_EQ(LocalTimeText("%F", 64), "2026-03-06");
}

TEST_F(LocalTime, Text_that_does_not_fit_is_empty) {
  EXPECT_EQ(LocalTimeText("%F", 11), "2026-03-05");
  EXPECT_EQ(LocalTimeText("%F", 10), "");
  EXPECT_EQ(LocalTimeText("%F", 0), "");
}

}  // namespace
}  // namespace unit
