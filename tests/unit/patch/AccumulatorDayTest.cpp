// SPDX-License-Identifier: Apache-2.0
// Seven-day accumulators: day keys and the day's turn.
#include <set>

#include "PatchTest.h"
#include "zones/Zones.h"

namespace patch_test {
namespace {

using cloudclient::DayAccumulator;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using zones::kDay;

constexpr time_t kWeek = 604800;
constexpr time_t kMarch5 = 1772668800;  // 2026-03-05T00:00:00Z

class DayTurnTest : public PatchTest {
 protected:
  void Turn(time_t now) {
    platform().clock.now = now;
    patch.NewDayAccumulators();
  }

  std::vector<time_t> Days() const {
    std::vector<time_t> days;
    for (const auto& entry : patch.GetAccumulators()) days.push_back(entry.first);
    return days;
  }

  // The keys met from `begin` on, each quarter of an hour, by local date.
  std::map<std::string, std::set<time_t>> KeysOfDates(time_t begin, time_t end) {
    std::map<std::string, std::set<time_t>> keys;
    for (time_t now = begin; now < end; now += 900) {
      struct tm local = {};
      localtime_r(&now, &local);
      platform().clock.now = now;
      const std::string date =
          std::to_string(local.tm_mon + 1) + "-" + std::to_string(local.tm_mday);
      keys[date].insert(patch.GetDayKey());
    }
    return keys;
  }
};

TEST_F(DayTurnTest, The_key_is_the_local_date_at_one_second_past_midnight) {
  for (const time_t now : {kMarch5, kMarch5 + 1, kMarch5 + 43200, kMarch5 + kDay - 1}) {
    platform().clock.now = now;
    EXPECT_EQ(patch.GetDayKey(), kMarch5 + 1);
  }
  platform().clock.now = kMarch5 + kDay;
  EXPECT_EQ(patch.GetDayKey(), kMarch5 + kDay + 1);
}

TEST_F(DayTurnTest, The_key_follows_the_time_zone) {
  fakes::SetTimeZone("CET-1");
  platform().clock.now = kMarch5 + kDay - 3600;  // the 6th begins
  EXPECT_EQ(patch.GetDayKey(), kMarch5 + kDay - 3600 + 1);
  fakes::SetTimeZone("EST5");
  platform().clock.now = kMarch5 + 5 * 3600 - 1;  // the 4th ends
  EXPECT_EQ(patch.GetDayKey(), kMarch5 - kDay + 5 * 3600 + 1);
}

TEST_F(DayTurnTest, Days_on_which_the_offset_changes_have_one_key) {
  fakes::SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  const time_t march29 = 1774738800;    // 2026-03-29T00:00:00+0100
  const time_t october25 = 1792879200;  // 2026-10-25T00:00:00+0200
  EXPECT_THAT(KeysOfDates(march29, march29 + 23 * 3600),
              ElementsAre(testing::Pair("3-29", ElementsAre(march29 + 1))));
  EXPECT_THAT(KeysOfDates(october25, october25 + 25 * 3600),
              ElementsAre(testing::Pair("10-25", ElementsAre(october25 + 1))));
}

TEST_F(DayTurnTest, Every_date_has_one_key_wherever_the_offset_changes) {
  const char* const zones[] = {"CET-1CEST,M3.5.0,M10.5.0/3", "BRT3BRST,M10.3.0/0,M2.3.0/0",
                               "AZOT1AZOST,M3.5.0/0,M10.5.0/1", "NZST-12NZDT,M9.5.0,M4.1.0/3"};
  for (const char* const zone : zones) {
    fakes::SetTimeZone(zone);
    const auto keys = KeysOfDates(kMarch5, kMarch5 + 365 * kDay);
    std::set<time_t> all;
    for (const auto& [date, ofDate] : keys) {
      // The first and the last day of the year are met in part, and may be the same date.
      if (date != "3-4" && date != "3-5") {
        EXPECT_THAT(ofDate, SizeIs(1)) << zone << " " << date;
      }
      all.insert(ofDate.begin(), ofDate.end());
    }
    EXPECT_GE(all.size(), 365u) << zone;
  }
}

TEST_F(DayTurnTest, The_key_goes_past_2038) {
  const time_t february2040 = 2213308800;  // 2040-02-20T00:00:00Z
  platform().clock.now = february2040 + 5000;
  EXPECT_EQ(patch.GetDayKey(), february2040 + 1);
  Turn(february2040 + 5000);
  EXPECT_THAT(Days(), ElementsAre(february2040 + 1));
}

TEST_F(DayTurnTest, Opens_the_day) {
  Turn(kMarch5 + 1);
  ASSERT_THAT(Days(), ElementsAre(kMarch5 + 1));
  EXPECT_EQ(patch.GetAccumulators().begin()->second, DayAccumulator());
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
  EXPECT_THAT(platform().pages.asked, IsEmpty());
}

TEST_F(DayTurnTest, A_second_one_on_the_same_day_changes_nothing) {
  Turn(kMarch5 + 1);
  cloudclient::PointPatchEntry point;
  point.pld = "v";
  point.tempAccum = true;
  HasDocument("v", "21");
  patch.AccumulatorUpdate(patch.GetDayKey(), 215, point, 1);
  Turn(kMarch5 + kDay - 1);
  ASSERT_THAT(Days(), ElementsAre(kMarch5 + 1));
  EXPECT_EQ(patch.GetAccumulators().begin()->second,
            (DayAccumulator{215, 215, "21", "21", 1100, 0, "1100", "0"}));
}

TEST_F(DayTurnTest, Eight_leave_exactly_seven_days) {
  for (int day = 0; day < 7; ++day) {
    Turn(kMarch5 + day * kDay + 1);
    EXPECT_THAT(patch.GetAccumulators(), SizeIs(static_cast<size_t>(day) + 1));
  }
  Turn(kMarch5 + kWeek + 1);
  const time_t today = kMarch5 + kWeek + 1;
  EXPECT_THAT(Days(), ElementsAre(today - 6 * kDay, today - 5 * kDay, today - 4 * kDay,
                                  today - 3 * kDay, today - 2 * kDay, today - kDay, today));
}

TEST_F(DayTurnTest, Many_leave_exactly_seven_days) {
  for (int day = 0; day < 40; ++day) Turn(kMarch5 + day * kDay + 1);
  EXPECT_THAT(patch.GetAccumulators(), SizeIs(7));
  EXPECT_EQ(Days().front(), kMarch5 + 33 * kDay + 1);
}

TEST_F(DayTurnTest, Fewer_than_seven_days_are_all_kept_however_old) {
  for (const int day : {0, 1, 2, 3, 100}) Turn(kMarch5 + day * kDay);
  EXPECT_THAT(patch.GetAccumulators(), SizeIs(5));
}

TEST_F(DayTurnTest, After_a_gap_drops_only_as_long_as_seven_days_are_held) {
  for (int day = 0; day < 6; ++day) Turn(kMarch5 + day * kDay);
  Turn(kMarch5 + 100 * kDay);
  EXPECT_THAT(Days(), ElementsAre(kMarch5 + kDay + 1, kMarch5 + 2 * kDay + 1,
                                  kMarch5 + 3 * kDay + 1, kMarch5 + 4 * kDay + 1,
                                  kMarch5 + 5 * kDay + 1, kMarch5 + 100 * kDay + 1));
}

TEST_F(DayTurnTest, Drops_a_day_that_is_seven_days_old_to_the_second) {
  // Over the short day of spring the eighth day is an hour younger than that, and stays for one
  // turn more.
  fakes::SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  const time_t march25 = 1774393200;  // 2026-03-25T00:00:00+0100
  for (int day = 0; day < 8; ++day) Turn(march25 + day * kDay + 7200);
  EXPECT_THAT(patch.GetAccumulators(), SizeIs(8));
  EXPECT_EQ(Days().front(), march25 + 1);
  Turn(march25 + 8 * kDay + 7200);
  EXPECT_THAT(patch.GetAccumulators(), SizeIs(8));
  for (int day = 9; day < 14; ++day) Turn(march25 + day * kDay + 7200);
  EXPECT_THAT(patch.GetAccumulators(), SizeIs(7));
}

TEST_F(DayTurnTest, A_clock_set_back_opens_the_earlier_day) {
  Turn(kMarch5 + 5 * kDay);
  Turn(kMarch5);
  EXPECT_THAT(Days(), ElementsAre(kMarch5 + 1, kMarch5 + 5 * kDay + 1));
}

}  // namespace
}  // namespace patch_test
