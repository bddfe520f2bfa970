// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "service/util/Clock.h"

namespace cloudservice {
namespace {

TEST(ClockTest, Instants_are_read_with_every_kind_of_offset) {
  EXPECT_EQ(ParseTime("2026-03-05T13:07:09Z"), 1772716029);
  EXPECT_EQ(ParseTime("2026-03-05T13:07:09.250Z"), 1772716029);
  EXPECT_EQ(ParseTime("2026-03-05T14:07:09+01:00"), 1772716029);
  EXPECT_EQ(ParseTime("2026-03-05T14:07:09+0100"), 1772716029);
  EXPECT_EQ(ParseTime("2026-03-05T09:37:09-0330"), 1772716029);
  EXPECT_EQ(ParseTime("2024-02-29T00:00:00Z"), 1709164800);
}

TEST(ClockTest, What_names_no_instant_is_none) {
  using namespace std::string_literals;
  for (const std::string& text :
       {""s, "2026-03-05"s, "2026-03-05T13:07Z"s, "2026-03-05T13:07:09"s, "2026-02-29T00:00:00Z"s,
        "2026-13-01T00:00:00Z"s, "2026-03-05T24:00:00Z"s, "2026-03-05T13:07:60Z"s,
        "2026-03-05T13:07:09.Z"s, "2026-03-05T13:07:09+1"s, "2026-03-05T13:07:09+24:00"s,
        "2026-03-05T13:07:09Zx"s, "2026-03-05T13:07:09Z\0"s, "2026-03-05 13:07:09Z"s,
        "-026-03-05T13:07:09Z"s}) {
    EXPECT_FALSE(ParseTime(text)) << text;
  }
}

}  // namespace
}  // namespace cloudservice
