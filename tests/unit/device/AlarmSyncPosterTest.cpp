// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <new>
#include <string>
#include <vector>

#include "AlarmTest.h"

namespace cloudclient {
namespace {

using fakes::platform;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// Alarms on the poster thread. One chassis, 17, of device instance 0, which queued events carry.
class PostedAlarmsTest : public AlarmTest {
 protected:
  void SetUp() override {
    AlarmTest::SetUp();
    platform().cloud.chassis["17"] = 0;
    platform().proxy.HasModules(10, 1);
    platform().proxy.eventTexts[10] = "Event 10";
    platform().proxy.HasModules(20, 4);
    platform().proxy.eventTexts[20] = "Event 20";
    ServiceHolds("17", {});
  }

  // A step of the poster: the device tells of an event, a minute after the last one.
  std::function<void()> Event(uint32_t gddId, uint16_t module, uint16_t state) {
    return [=] {
      platform().clock.now += 60;
      Notified(gddId, module, state);
    };
  }
  std::function<void()> ServiceAnswers(long status) {
    return [=] { service.answers("POST", kEventsPath, status); };
  }
  static void Request() { DeviceMgr::SetAlarmSyncRequested(true); }
};

TEST_F(PostedAlarmsTest, An_event_is_posted_tracked_and_posted_cleared) {
  RunPoster({Event(10, 0, kAlarm), [this] { EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "Alarm"); },
             Event(10, 0, kCleared)});
  EXPECT_THAT(
      Documents(),
      ElementsAre(R"({ "MessageId": "Zarvel.GDD.10","Severity": "Alarm",)"
                  R"("MessageArgs": ["Unit1","System","0", null],"Message": "Event 10.",)"
                  R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
                  R"( "Created": "2026-03-05T13:08:09+0000"})",
                  R"({ "MessageId": "258","Severity": "MESSAGE",)"
                  R"("MessageArgs": ["Unit1","System","2026-03-05T13:09:09+0000","Zarvel.GDD.10"],)"
                  R"("Message": "Event 10 (Cleared).",)"
                  R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
                  R"( "Created": "2026-03-05T13:08:09+0000"})"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "");
  EXPECT_THAT(Log(), Contains("7 CloudPoster: Posting alarm for 10  state Alarm"));
  EXPECT_THAT(Log(), Contains("7 CloudPoster: Posting alarm for 10  state Cleared"));
}

TEST_F(PostedAlarmsTest, A_repeated_state_is_not_posted) {
  RunPoster({Event(10, 0, kAlarm), Event(10, 0, kAlarm)});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
}

TEST_F(PostedAlarmsTest, A_changed_state_is_posted_with_the_tracked_text_and_a_time_of_its_own) {
  RunPoster({Event(10, 0, kAlarm), [] { platform().proxy.eventTexts[10] = "New text"; },
             Event(10, 0, kFault)});
  EXPECT_THAT(Documents(),
              Contains(R"({ "MessageId": "Zarvel.GDD.10","Severity": "Fault",)"
                       R"("MessageArgs": ["Unit1","System","0", null],"Message": "Event 10.",)"
                       R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
                       R"( "Created": "2026-03-05T13:09:09+0000"})"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "Fault");
}

TEST_F(PostedAlarmsTest, An_event_of_another_module_is_built_into_a_fresh_alarm) {
  RunPoster({Event(20, 0, kAlarm), Event(20, 1, kCleared)});
  EXPECT_THAT(
      Documents(),
      Contains(R"({ "MessageId": "258","Severity": "MESSAGE",)"
               R"("MessageArgs": ["Unit1","System","2026-03-05T13:09:09+0000","Zarvel.GDD.20:1"],)"
               R"("Message": "[2] Event 20 (Cleared).",)"
               R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"}, "Created": ""})"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.20:0"), "Alarm");
}

TEST_F(PostedAlarmsTest, A_module_that_does_not_sort_first_is_posted_at_each_notification) {
  RunPoster(
      {Event(20, 1, kAlarm), Event(20, 0, kAlarm), Event(20, 1, kAlarm), Event(20, 0, kAlarm)});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.20:1 Alarm of 17", "Zarvel.GDD.20:0 Alarm of 17",
                                    "Zarvel.GDD.20:1 Alarm of 17"));
}

TEST_F(PostedAlarmsTest, Clearing_one_module_forgets_that_module_alone) {
  RunPoster({Event(20, 0, kAlarm), Event(20, 1, kAlarm), Event(20, 1, kCleared)});
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.20:0"), "Alarm");
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.20:1"), "");
}

TEST_F(PostedAlarmsTest,
       An_event_that_the_service_did_not_take_is_posted_at_the_next_notification) {
  RunPoster({ServiceAnswers(500), Event(10, 0, kAlarm), ServiceAnswers(201), Event(10, 0, kAlarm)});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17", "Zarvel.GDD.10 Alarm of 17"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "Alarm");
}

TEST_F(PostedAlarmsTest, A_failed_clearing_is_forgotten) {
  RunPoster({Event(10, 0, kAlarm), ServiceAnswers(500), Event(10, 0, kCleared), ServiceAnswers(201),
             [] {}});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17", "Zarvel.GDD.10 cleared of 17"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "");
}

TEST_F(PostedAlarmsTest, The_platforms_cleared_text_neither_clears_nor_forgets) {
  fakes::SetClearedText("Normal");
  platform().stateTexts[kCleared] = "Normal";
  RunPoster({Event(10, 0, kAlarm), Event(10, 0, kCleared)});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17", "Zarvel.GDD.10 Normal of 17"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "Normal");
}

TEST_F(PostedAlarmsTest,
       A_synchronisation_leaves_a_cleared_alarm_tracked_so_that_it_is_not_reposted) {
  RunPoster({Event(10, 0, kAlarm),
             [this] {
               ServiceHolds("17", {{10, 0, "Alarm"}});
               Request();
             },
             Event(10, 0, kAlarm)});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17", "Zarvel.GDD.10 cleared of 17"));
}

TEST_F(PostedAlarmsTest, Events_of_a_device_of_another_number_are_dropped) {
  platform().cloud.chassis["17"] = 5;
  RunPoster({[this] {
    mgr->RegisterForDeviceDataChange(5);
    Notified(10, 0, kAlarm);
    ASSERT_EQ(mgr->GetEventList().size(), 1u);
    EXPECT_EQ(mgr->GetEventList()[0].velId, 0u);
  }});
  EXPECT_THAT(Log(), ElementsAre("5 Start: Started tod alarm(alarmid: 1)",
                                 "7 AddDeviceEvent: adding event from pld engine: 0:10",
                                 "7 CloudPoster: has events",
                                 "3 CloudPoster: Failed to find chassis instance for velid: 0"));
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_FALSE(mgr->HasEvents());
}

TEST_F(PostedAlarmsTest, A_device_of_another_number_is_synchronised_all_the_same) {
  platform().cloud.chassis["17"] = 5;
  platform().proxy.HasActive(10, 0, kAlarm);
  RunPoster({Request});
  EXPECT_THAT(platform().proxy.activeEventsAsked, ElementsAre(5));
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "Alarm");
}

TEST_F(PostedAlarmsTest, A_request_synchronises_two_chassis_twice_each) {
  platform().cloud.chassis = {{"17", 1}, {"18", 2}};
  ServiceHolds("18", {});
  RunPoster({Request, [] {}});
  EXPECT_THAT(platform().proxy.activeEventsAsked, ElementsAre(1, 2, 1, 2));
  EXPECT_EQ(service.requests("GET", ListPath("17", "Fault")).size(), 2u);
  EXPECT_EQ(service.requests("GET", ListPath("18", "Fault")).size(), 2u);
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(PostedAlarmsTest, A_chassis_configured_later_is_synchronised) {
  RunPoster({[] {
    platform().cloud.chassis = {{"18", 2}};
    Request();
  }});
  EXPECT_THAT(platform().proxy.activeEventsAsked, ElementsAre(2));
  EXPECT_EQ(service.requests("GET", ListPath("18", "Fault")).size(), 1u);
}

TEST_F(PostedAlarmsTest, Go_on_after_a_synchronisation_that_raised) {
  fakes::curl().onPerform = [](fakes::Transfer& transfer) {
    if (transfer.Method() == "GET") throw std::bad_alloc();
  };
  RunPoster({Request, Event(10, 0, kAlarm)});
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
  EXPECT_FALSE(mgr->IsSyncInProgress());
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
}

TEST_F(PostedAlarmsTest, Events_queued_before_a_synchronisation_are_posted_by_the_pass) {
  RunPoster({[this] {
    Notified(10, 0, kAlarm);
    Request();
  }});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
}

}  // namespace
}  // namespace cloudclient
