// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "service/store/Rules.h"

namespace cloudservice {
namespace {

TEST(RulesTest, Heartbeat_is_late_after_two_intervals_and_the_appliance_offline_after_three) {
  const DueTimes due = DueTimesOf(1, 1000, 90);
  EXPECT_EQ(StateAt(1179, due), State::kAlive);
  EXPECT_EQ(StateAt(1180, due), State::kLate);
  EXPECT_EQ(StateAt(1269, due), State::kLate);
  EXPECT_EQ(StateAt(1270, due), State::kOffline);
}

TEST(RulesTest, Registration_stands_for_a_heartbeat_of_120_seconds) {
  const DueTimes due = DueTimesOf(1000, std::nullopt, std::nullopt);
  EXPECT_EQ(due.late, 1240);
  EXPECT_EQ(due.offline, 1360);
}

TEST(RulesTest, Every_severity_but_three_words_opens_an_alarm) {
  for (const char* word : {"Alarm", "WARNING", "fault", "x", "Message ", "okay"}) {
    EXPECT_EQ(KindOf("m", word), EventKind::kAlarm) << word;
  }
  for (const char* word : {"Message", "MESSAGE", "cleared", "OK"}) {
    EXPECT_EQ(KindOf("m", word), EventKind::kPoint) << word;
  }
}

TEST(RulesTest, Identifier_tells_what_clears_and_what_is_of_the_catalogue) {
  EXPECT_EQ(KindOf("258", "Alarm"), EventKind::kClear);
  EXPECT_EQ(KindOf("2580", "OK"), EventKind::kPoint);
  EXPECT_EQ(KindOf("Zarvel.GDD.1.4711", "Message"), EventKind::kMessage);
  EXPECT_EQ(KindOf("ZARVEL.gdd.1", "Message"), EventKind::kMessage);
  EXPECT_EQ(KindOf("Zarvel.GDD.1", "Alarm"), EventKind::kAlarm);
  EXPECT_EQ(KindOf("xZarvel.GDD.1", "Message"), EventKind::kPoint);
}

TEST(RulesTest, Severity_of_an_unknown_word_is_alarm) {
  EXPECT_EQ(SeverityOf("FAULT"), Severity::kFault);
  EXPECT_EQ(SeverityOf("Critical"), Severity::kFault);
  EXPECT_EQ(SeverityOf("warning"), Severity::kWarning);
  EXPECT_EQ(SeverityOf("Alarm"), Severity::kAlarm);
  EXPECT_EQ(SeverityOf("?"), Severity::kAlarm);
}

}  // namespace
}  // namespace cloudservice
