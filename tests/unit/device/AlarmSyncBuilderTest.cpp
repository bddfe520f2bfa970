// SPDX-License-Identifier: Apache-2.0
#include <string>

#include "AlarmTest.h"

namespace cloudclient {
namespace {

using fakes::platform;
using testing::ElementsAre;
using testing::IsEmpty;

// The making of an alarm from a device event.
class AlarmBuilderTest : public AlarmTest {
 protected:
  CloudAlarm Built(uint32_t velId, uint32_t gddId, uint16_t module, uint16_t state) {
    DeviceEvent event = {};
    event.velId = velId;
    event.gddId = gddId;
    event.module = module;
    event.eventState = state;
    CloudAlarm alarm;
    mgr->InitCloudAlarmFromDeviceEvent(alarm, event);
    return alarm;
  }
};

TEST_F(AlarmBuilderTest, Of_a_single_module_takes_the_text_as_it_is) {
  platform().proxy.HasModules(10, 1);
  platform().proxy.eventTexts[10] = "Fan failed";
  const CloudAlarm alarm = Built(5, 10, 0, kWarning);
  EXPECT_EQ(alarm.GetEventId(), 10u);
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.10");
  EXPECT_EQ(alarm.GetMessage(), "Fan failed");
  EXPECT_EQ(alarm.GetSeverity(), "Warning");
  EXPECT_EQ(alarm.GetAlarmKey(), 5);
  EXPECT_EQ(alarm.GetMessageArg(), 0);
  EXPECT_EQ(alarm.GetCreated(), kNow);
  EXPECT_EQ(alarm.GetClearedTime(), "");
  EXPECT_EQ(alarm.GetCloudRef(), "");
  EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(AlarmBuilderTest, Of_a_single_module_keeps_the_module_as_argument) {
  platform().proxy.HasModules(10, 1);
  const CloudAlarm alarm = Built(0, 10, 2, kAlarm);
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.10");
  EXPECT_EQ(alarm.GetMessageArg(), 2);
}

TEST_F(AlarmBuilderTest, Of_several_modules_counts_them_from_1_in_the_text) {
  platform().proxy.HasModules(20, 4);
  platform().proxy.eventTextsOfModule[{20, 0}] = "Fan failed";
  platform().proxy.eventTextsOfModule[{20, 2}] = "Third fan failed";
  EXPECT_EQ(Built(0, 20, 0, kAlarm).GetMessage(), "[1] Fan failed");
  EXPECT_EQ(Built(0, 20, 0, kAlarm).GetMessageId(), "Zarvel.GDD.20:0");
  const CloudAlarm alarm = Built(0, 20, 2, kAlarm);
  EXPECT_EQ(alarm.GetMessage(), "[3] Third fan failed");
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.20:2");
  EXPECT_EQ(alarm.GetMessageArg(), 2);
  EXPECT_EQ(Built(0, 20, 65535, kAlarm).GetMessage(), "[65536] ");
}

TEST_F(AlarmBuilderTest, Of_a_number_of_more_than_16_bits_is_identified_by_all_of_it) {
  const CloudAlarm alarm = Built(0, 65536 + 20, 2, kAlarm);
  EXPECT_EQ(alarm.GetEventId(), 65556u);
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.65556:2");
}

TEST_F(AlarmBuilderTest, Of_an_unknown_or_no_module_count_names_the_module) {
  platform().proxy.HasModules(21, 0);
  platform().proxy.eventTexts[21] = "Fan failed";
  platform().proxy.eventTexts[22] = "Door open";
  EXPECT_EQ(Built(5, 21, 0, kAlarm).GetMessage(), "[1] Fan failed");
  const CloudAlarm alarm = Built(5, 22, 1, kAlarm);
  EXPECT_EQ(alarm.GetMessage(), "[2] Door open");
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.22:1");
  EXPECT_THAT(Log(), ElementsAre("3 GetMaxModuleCountForPoint: Failed (LxDpStatus: 1) to get "
                                 "report number for point(22) on device(5)"));
}

TEST_F(AlarmBuilderTest, Asks_for_the_text_with_the_low_halves_of_the_numbers) {
  platform().proxy.HasModules(10, 1);
  Built(0x00050003, 0x0001000A, 7, kAlarm);
  ASSERT_EQ(platform().proxy.eventTextsAsked.size(), 1u);
  const fakes::EventTextQuery& query = platform().proxy.eventTextsAsked[0];
  EXPECT_EQ(query.device, 3);
  EXPECT_EQ(query.gddId, 10);
  EXPECT_EQ(query.module, 7);
  EXPECT_EQ(query.reserved, 0);
  EXPECT_EQ(query.format, "%s");
}

TEST_F(AlarmBuilderTest, Keeps_whole_numbers_in_the_alarm) {
  const CloudAlarm alarm = Built(0x00050003, 0x0001000A, 7, kAlarm);
  EXPECT_EQ(alarm.GetEventId(), 65546u);
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.65546:7");
  EXPECT_EQ(alarm.GetAlarmKey(), 0x00050003);
}

TEST_F(AlarmBuilderTest, Without_a_text_has_an_empty_message) {
  platform().proxy.HasModules(10, 1);
  platform().proxy.HasModules(20, 4);
  EXPECT_EQ(Built(0, 10, 0, kAlarm).GetMessage(), "");
  EXPECT_EQ(Built(0, 20, 0, kAlarm).GetMessage(), "[1] ");
  platform().proxy.eventTexts[10] = "Fan failed";
  platform().proxy.eventTextStatus[10] = 1;
  EXPECT_EQ(Built(0, 10, 0, kAlarm).GetMessage(), "");
}

TEST_F(AlarmBuilderTest, Without_a_proxy_has_no_text_and_names_the_module) {
  mgr->SetPldProxy(nullptr);
  const CloudAlarm alarm = Built(0, 10, 0, kAlarm);
  EXPECT_EQ(alarm.GetMessage(), "[1] ");
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.10:0");
  EXPECT_EQ(alarm.GetSeverity(), "Alarm");
}

TEST_F(AlarmBuilderTest, Of_a_cleared_event_stamps_the_clearing) {
  const CloudAlarm alarm = Built(0, 10, 0, kCleared);
  EXPECT_EQ(alarm.GetSeverity(), "Cleared");
  EXPECT_EQ(alarm.GetClearedTime(), kNow);
  EXPECT_EQ(alarm.GetCreated(), "");
}

TEST_F(AlarmBuilderTest, Takes_the_platforms_text_of_an_unknown_state) {
  EXPECT_EQ(Built(0, 10, 0, 99).GetSeverity(), "Unknown");
}

}  // namespace
}  // namespace cloudclient
