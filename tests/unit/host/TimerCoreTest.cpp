// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <string>
#include <vector>

#include "HostTest.h"
#include "host/util/LocalTime.h"
#include "host/util/TimerCore.h"

namespace {

void Expired(unsigned short /*id*/, void* /*context*/) {}
void Cancelled(unsigned short /*id*/, void* /*context*/) {}

void UseZone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

struct tm Local(int year, int month, int day, int hour, int minute, int second) {
  struct tm local = {};
  local.tm_year = year - 1900;
  local.tm_mon = month - 1;
  local.tm_mday = day;
  local.tm_hour = hour;
  local.tm_min = minute;
  local.tm_sec = second;
  local.tm_isdst = -1;
  return local;
}

time_t At(int year, int month, int day, int hour, int minute, int second) {
  time_t time = 0;
  EXPECT_TRUE(host::LocalTimeAt(Local(year, month, day, hour, minute, second), 0, time));
  return time;
}

std::string Text(time_t time) {
  struct tm local = {};
  localtime_r(&time, &local);
  char text[40];
  strftime(text, sizeof(text), "%F %T %Z", &local);
  return text;
}

// An alarm table with a clock that the test sets.
class TimerCoreTest : public testing::Test {
 protected:
  TimerCoreTest() { UseZone("CET-1CEST,M3.5.0,M10.5.0/3"); }

  unsigned short Arm(time_t now, time_t due) {
    host::TimerCore::Alarm alarm;
    localtime_r(&due, &alarm.when);
    alarm.created = now;
    localtime_r(&now, &alarm.createdOn);
    alarm.expired = &Expired;
    alarm.cancelled = &Cancelled;
    return m_core.Add(alarm);
  }

  // What ends at `now`, one word each.
  std::string Ends(time_t now) {
    std::string ends;
    host::TimerCore::Ended ended = {};
    while (m_core.TakeDue(now, ended)) {
      ends += std::to_string(ended.id) + (ended.callback == &Expired ? "expired " : "cancelled ");
    }
    return ends;
  }

  host::TimerCore m_core;
};

}  // namespace

TEST_F(TimerCoreTest, Alarm_expires_when_its_time_is_reached_and_not_before) {
  const time_t noon = At(2026, 3, 5, 12, 0, 0);
  const time_t due = At(2026, 3, 6, 0, 0, 1);
  Arm(noon, due);
  EXPECT_EQ(Ends(noon), "");
  EXPECT_EQ(Ends(At(2026, 3, 5, 23, 59, 59)), "");
  EXPECT_EQ(Ends(At(2026, 3, 6, 0, 0, 0)), "");
  EXPECT_EQ(Ends(due), "1expired ");
  EXPECT_EQ(Ends(due), "");
}

TEST_F(TimerCoreTest, Midnight_that_passes_before_the_alarm_cancels_nothing) {
  Arm(At(2026, 3, 5, 23, 59, 59), At(2026, 3, 6, 0, 0, 1));
  EXPECT_EQ(Ends(At(2026, 3, 6, 0, 0, 0)), "");
  EXPECT_EQ(Ends(At(2026, 3, 6, 0, 0, 1)), "1expired ");
}

TEST_F(TimerCoreTest, Clock_set_over_midnight_gives_one_expiry) {
  Arm(At(2026, 3, 5, 12, 0, 0), At(2026, 3, 6, 0, 0, 1));
  EXPECT_EQ(Ends(At(2026, 3, 9, 18, 0, 0)), "1expired ");
  EXPECT_EQ(Ends(At(2026, 3, 9, 18, 0, 1)), "");
}

TEST_F(TimerCoreTest, Clock_set_back_to_another_date_cancels) {
  Arm(At(2026, 3, 6, 0, 0, 2), At(2026, 3, 7, 0, 0, 1));
  EXPECT_EQ(Ends(At(2026, 3, 5, 23, 59, 59)), "1cancelled ");
  EXPECT_EQ(Ends(At(2026, 3, 7, 0, 0, 1)), "");
}

TEST_F(TimerCoreTest, Clock_set_back_into_another_year_cancels) {
  Arm(At(2026, 1, 1, 12, 0, 0), At(2026, 1, 2, 0, 0, 1));
  EXPECT_EQ(Ends(At(2025, 12, 31, 12, 0, 0)), "1cancelled ");
}

TEST_F(TimerCoreTest, Zone_that_goes_back_over_midnight_cancels_nothing) {
  UseZone("America/St_Johns");  // clocks went from 00:01 of 7 November 2010 back to 23:01
  const time_t first = 1289097001;
  EXPECT_EQ(Text(first), "2010-11-07 00:00:01 NDT");
  Arm(first, At(2010, 11, 8, 0, 0, 1));
  EXPECT_EQ(Text(first + 600), "2010-11-06 23:10:01 NST");
  EXPECT_EQ(Ends(first + 600), "");
  EXPECT_EQ(Ends(first + 3600), "");
  EXPECT_EQ(Ends(first + 25 * 3600), "1expired ");
}

TEST_F(TimerCoreTest, Clock_set_back_into_the_hour_before_such_a_change_cancels) {
  UseZone("America/St_Johns");
  const time_t first = 1289097001;
  Arm(first, At(2010, 11, 8, 0, 0, 1));
  EXPECT_EQ(Ends(first - 60), "1cancelled ");
}

TEST_F(TimerCoreTest, Zone_changed_to_one_of_an_earlier_date_cancels) {
  Arm(At(2026, 3, 6, 0, 0, 1), At(2026, 3, 7, 0, 0, 1));
  const time_t now = At(2026, 3, 6, 5, 0, 0);
  EXPECT_EQ(Ends(now), "");
  UseZone("EST5");
  EXPECT_EQ(Ends(now), "1cancelled ");
}

TEST_F(TimerCoreTest, Zone_changed_within_the_date_moves_the_alarm) {
  Arm(At(2026, 3, 5, 12, 0, 0), At(2026, 3, 6, 0, 0, 1));
  const time_t due = At(2026, 3, 6, 0, 0, 1);
  UseZone("EST5");
  EXPECT_EQ(Ends(due), "");
  EXPECT_EQ(Ends(due + 6 * 3600 - 1), "");
  EXPECT_EQ(Ends(due + 6 * 3600), "1expired ");
}

TEST_F(TimerCoreTest, Clock_set_on_the_same_date_cancels_nothing) {
  Arm(At(2026, 3, 5, 12, 0, 0), At(2026, 3, 6, 0, 0, 1));
  EXPECT_EQ(Ends(At(2026, 3, 5, 0, 0, 0)), "");
  EXPECT_EQ(Ends(At(2026, 3, 5, 23, 59, 59)), "");
  EXPECT_EQ(Ends(At(2026, 3, 6, 0, 0, 1)), "1expired ");
}

TEST_F(TimerCoreTest, Several_alarms_end_earliest_first) {
  const time_t now = At(2026, 3, 5, 12, 0, 0);
  Arm(now, now + 30);
  Arm(now, now + 10);
  Arm(now, now + 90);
  EXPECT_EQ(Ends(now + 30), "2expired 1expired ");
  EXPECT_EQ(Ends(now + 90), "3expired ");
}

TEST_F(TimerCoreTest, Next_look_is_the_alarm_or_a_minute_away) {
  const time_t now = At(2026, 3, 5, 12, 0, 0);
  time_t look = 0;
  EXPECT_FALSE(m_core.NextLook(now, look));
  Arm(now, now + 3600);
  ASSERT_TRUE(m_core.NextLook(now, look));
  EXPECT_EQ(look, now + 60);
  Arm(now, now + 5);
  ASSERT_TRUE(m_core.NextLook(now, look));
  EXPECT_EQ(look, now + 5);
}

TEST_F(TimerCoreTest, Identifiers_run_from_1_to_65534_and_wrap) {
  for (unsigned int id = 1; id <= 65534; ++id) {
    ASSERT_EQ(Arm(0, 100), id);
    host::TimerCore::Alarm alarm;
    ASSERT_TRUE(m_core.Take(static_cast<unsigned short>(id), alarm));
  }
  EXPECT_EQ(Arm(0, 100), 1);
}

TEST_F(TimerCoreTest, Identifiers_in_use_are_passed_over) {
  EXPECT_EQ(Arm(0, 100), 1);
  EXPECT_EQ(Arm(0, 100), 2);
  for (unsigned int id = 3; id <= 65534; ++id) Arm(0, 100);
  EXPECT_EQ(Arm(0, 100), 65535);  // none is free
  host::TimerCore::Alarm alarm;
  ASSERT_TRUE(m_core.Take(2, alarm));
  EXPECT_EQ(Arm(0, 100), 2);
}

TEST_F(TimerCoreTest, Unknown_identifier_names_none) {
  host::TimerCore::Alarm alarm;
  EXPECT_FALSE(m_core.Take(1, alarm));
  EXPECT_FALSE(m_core.Take(0, alarm));
  EXPECT_FALSE(m_core.Take(65535, alarm));
}

TEST_F(TimerCoreTest, Tomorrow_is_the_next_date_with_dst_unknown) {
  struct tm tomorrow = {};
  ASSERT_TRUE(host::TomorrowOf(At(2026, 12, 31, 23, 59, 59), tomorrow));
  EXPECT_EQ(tomorrow.tm_year, 127);
  EXPECT_EQ(tomorrow.tm_mon, 0);
  EXPECT_EQ(tomorrow.tm_mday, 1);
  EXPECT_EQ(tomorrow.tm_isdst, -1);
  ASSERT_TRUE(host::TomorrowOf(At(2028, 2, 28, 0, 0, 0), tomorrow));
  EXPECT_EQ(tomorrow.tm_mday, 29);
}

TEST_F(TimerCoreTest, Tomorrow_is_one_date_on_when_the_clocks_change) {
  struct tm tomorrow = {};
  ASSERT_TRUE(host::TomorrowOf(At(2026, 3, 28, 23, 30, 0), tomorrow));
  EXPECT_EQ(tomorrow.tm_mday, 29);
  ASSERT_TRUE(host::TomorrowOf(At(2026, 10, 25, 0, 30, 0), tomorrow));
  EXPECT_EQ(tomorrow.tm_mday, 26);
  ASSERT_TRUE(host::TomorrowOf(At(2026, 10, 25, 23, 30, 0), tomorrow));
  EXPECT_EQ(tomorrow.tm_mday, 26);
}

TEST_F(TimerCoreTest, Alarm_after_the_change_to_summer_time_is_an_hour_sooner) {
  const time_t before = At(2026, 3, 29, 0, 0, 1);
  EXPECT_EQ(At(2026, 3, 30, 0, 0, 1) - before, 23 * 3600);
  EXPECT_EQ(Text(At(2026, 3, 30, 0, 0, 1)), "2026-03-30 00:00:01 CEST");
}

TEST_F(TimerCoreTest, Alarm_after_the_change_to_winter_time_is_an_hour_later) {
  const time_t before = At(2026, 10, 25, 0, 0, 1);
  EXPECT_EQ(At(2026, 10, 26, 0, 0, 1) - before, 25 * 3600);
  EXPECT_EQ(Text(At(2026, 10, 26, 0, 0, 1)), "2026-10-26 00:00:01 CET");
}

TEST_F(TimerCoreTest, Summer_time_flag_of_the_caller_is_not_looked_at) {
  struct tm when = Local(2026, 7, 1, 0, 0, 1);
  when.tm_isdst = 0;
  time_t time = 0;
  ASSERT_TRUE(host::LocalTimeAt(when, 0, time));
  EXPECT_EQ(Text(time), "2026-07-01 00:00:01 CEST");
}

TEST_F(TimerCoreTest, Time_that_the_zone_skips_comes_at_the_end_of_the_gap) {
  // Clocks go from 24:00 of 28 March to 01:00.
  UseZone("GAP-2GAPS,M3.5.0/0,M10.5.0/0");
  const time_t due = At(2026, 3, 29, 0, 0, 1);
  EXPECT_EQ(Text(due), "2026-03-29 01:00:01 GAPS");
  struct tm tomorrow = {};
  ASSERT_TRUE(host::TomorrowOf(due, tomorrow));
  EXPECT_EQ(tomorrow.tm_mday, 30);
}

TEST_F(TimerCoreTest, Date_that_begins_twice_gives_one_alarm_a_date) {
  // Clocks go from 24:00 of 24 October back to 23:00.
  UseZone("GAP-2GAPS,M3.5.0/0,M10.5.0/0");
  const time_t due = At(2026, 10, 25, 0, 0, 1);
  EXPECT_EQ(Text(due), "2026-10-25 00:00:01 GAP");
  Arm(At(2026, 10, 24, 22, 0, 0), due);
  EXPECT_EQ(Ends(due - 3600), "");
  EXPECT_EQ(Ends(due), "1expired ");
}

TEST_F(TimerCoreTest, Time_that_cannot_be_represented_is_refused) {
  struct tm when = Local(2026, 1, 1, 0, 0, 0);
  when.tm_year = INT32_MAX;
  when.tm_mon = INT32_MAX;
  time_t time = 5;
  EXPECT_FALSE(host::LocalTimeAt(when, 0, time));
  EXPECT_EQ(time, 5);
}
