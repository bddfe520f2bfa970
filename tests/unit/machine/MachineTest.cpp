// SPDX-License-Identifier: Apache-2.0
// What the sources take for granted of the machine and of the C library, whatever processor.

#include <sys/types.h>

#include <climits>
#include <ctime>

#include <gtest/gtest.h>

#include "base/LocalTime.h"
#include "fakes/PlatformTest.h"

namespace unit {
namespace {

static_assert(sizeof(time_t) == 8, "times go beyond 2038");
static_assert(sizeof(off_t) == 8, "files may be larger than 2 GiB");
static_assert(sizeof(int) == 4 && sizeof(short) == 2 && CHAR_BIT == 8, "widths of records");

class MachineTest : public fakes::PlatformTest {};

TEST_F(MachineTest, Shows_a_date_in_2040) {
  fakes::SetTimeZone("CET-1");
  fakes::platform().clock.now = 2'208'989'045;
  EXPECT_EQ(cloudclient::LocalTimeText("%FT%T%z", 64), "2040-01-01T01:04:05+0100");
}

TEST_F(MachineTest, Counts_seconds_beyond_2038_both_ways) {
  fakes::SetTimeZone("CET-1");
  fakes::platform().clock.now = 2'208'989'045;
  struct tm local = cloudclient::LocalTimeNow();
  EXPECT_EQ(mktime(&local), 2'208'989'045);
}

}  // namespace
}  // namespace unit
