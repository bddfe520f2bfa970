// SPDX-License-Identifier: Apache-2.0
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/util/LocalTime.h"
#include "host/util/Log.h"
#include "host/util/TimerCore.h"
#include "zones/MachineRoot.h"
#include "zones/Zones.h"

namespace {

using zones::kDay;
using zones::kHour;

// When an alarm for tomorrow's 00:00:01 that is armed at `when` is due.
time_t DailyAlarm(time_t when) {
  zones::ConvertAnotherDate(when);
  struct tm tomorrow = {};
  EXPECT_TRUE(host::TomorrowOf(when, tomorrow));
  tomorrow.tm_hour = 0;
  tomorrow.tm_min = 0;
  tomorrow.tm_sec = 1;
  time_t due = 0;
  EXPECT_TRUE(host::LocalTimeAt(tomorrow, when, due));
  return due;
}

class DailyAlarmsTest : public testing::TestWithParam<size_t> {
 protected:
  // Of a date that the zone has, seen from several hours of the day before.
  void CheckDate(time_t date) {
    const time_t first = zones::FirstOf(date);
    for (time_t when = date - 41 * kHour; first != 0 && when <= first; when += 5 * kHour) {
      if (zones::Shown(when) / kDay != date / kDay - 1) continue;
      EXPECT_EQ(DailyAlarm(when), first) << zones::DateText(date);
      ++m_checked;
    }
  }

  void CheckZone(const std::string& zone) {
    SCOPED_TRACE(zone);
    zones::Use(zone);
    zones::VisitDates([this](time_t date) { CheckDate(date); },
                      [](time_t date, time_t offset) {
                        EXPECT_EQ(DailyAlarm(date - offset - kDay / 2), date - offset)
                            << zones::DateText(date);
                      });
  }

  int m_checked = 0;
};

// The local time that the host platform shows at 2026-03-05T13:07:09Z.
std::string LogTime() {
  return host::LogLine({1772716029, 0}, 5, "Host", "text", false).substr(0, 28);
}

}  // namespace

TEST_P(DailyAlarmsTest, Are_at_the_first_00_00_01_of_each_date_of_every_zone) {
  for (const std::string& zone : zones::Part(GetParam())) CheckZone(zone);
  EXPECT_GT(m_checked, 20000);
}

INSTANTIATE_TEST_SUITE_P(Part, DailyAlarmsTest, testing::Range(size_t{0}, zones::kParts),
                         [](const auto& instance) {
                           return std::string(zones::kPartNames[instance.param]);
                         });

TEST(HostLocalTimeTest, Is_the_first_of_two_unless_that_is_past) {
  zones::Use("America/Havana");
  const time_t november1 = 1793505601;  // 2026-11-01T00:00:01-0400, and an hour later once more
  struct tm when = {};
  ASSERT_TRUE(host::LocalTimeOf(november1, when));
  const auto at = [&when](time_t now) {
    time_t time = 0;
    EXPECT_TRUE(host::LocalTimeAt(when, now, time));
    return time;
  };
  EXPECT_EQ(at(november1 - kDay), november1);
  EXPECT_EQ(at(november1), november1);
  EXPECT_EQ(at(november1 + 1), november1 + kHour);
  EXPECT_EQ(at(november1 + 2 * kHour), november1 + kHour);
}

TEST(HostLocalTimeTest, Tomorrow_passes_over_a_date_that_the_zone_skips) {
  zones::Use("Pacific/Apia");
  const time_t december29 = 1325192399;  // 2011-12-29T10:59:59-1000; the 30th does not come
  EXPECT_EQ(DailyAlarm(december29), 1325239201);  // 2011-12-31T00:00:01+1400
}

TEST(HostLocalTimeTest, Follows_the_machines_zone) {
  zones::MachineRoot root({"Asia/Kolkata", "America/New_York"});
  ASSERT_EQ(root.Error(), "");
  root.SetZone("Asia/Kolkata");
  struct tm local = {};
  ASSERT_TRUE(host::LocalTimeOf(1772716029, local));
  EXPECT_EQ(local.tm_hour, 18);
  EXPECT_EQ(LogTime(), "2026-03-05T18:37:09.000+0530");
  root.SetZone("America/New_York");
  EXPECT_EQ(LogTime(), "2026-03-05T08:07:09.000-0500");
  root.SetZone("Asia/Kolkata");
  ASSERT_TRUE(host::LocalTimeOf(1772716029, local));
  EXPECT_EQ(local.tm_hour, 18);
}

TEST(HostLocalTimeTest, Of_a_waiting_alarm_follows_the_machines_zone) {
  zones::MachineRoot root({"Asia/Kolkata", "America/New_York"});
  ASSERT_EQ(root.Error(), "");
  root.SetZone("Asia/Kolkata");
  const time_t noon = 1772692200;  // 2026-03-05T12:00:00+0530
  host::TimerCore::Alarm alarm;
  alarm.created = noon;
  ASSERT_TRUE(host::LocalTimeOf(noon, alarm.createdOn));
  ASSERT_TRUE(host::TomorrowOf(noon, alarm.when));
  host::TimerCore core;
  core.Add(alarm);
  const auto untilNoonOfThe6th = [&core](time_t now) {
    time_t look = 0;
    EXPECT_TRUE(core.NextLook(now, look));
    return look;
  };
  EXPECT_EQ(untilNoonOfThe6th(noon + kDay - 10), noon + kDay);
  root.SetZone("America/New_York");
  EXPECT_EQ(untilNoonOfThe6th(noon + kDay - 10), noon + kDay + 50);
}
