// SPDX-License-Identifier: Apache-2.0
#include "AlarmSyncTest.h"

#include <string>
#include <vector>

#include "base/Policy.h"

namespace cloudclient {
namespace {

using fakes::platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

TEST_F(AlarmSyncTest, Handles_one_pair_and_clears_and_posts_anew_what_would_pair_after_it) {
  ServiceHolds("17", {{10, 0, "Alarm"}, {11, 0, "Warning"}});
  platform().proxy.HasActive(10, 0, kAlarm);
  platform().proxy.HasActive(11, 0, kWarning);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.11 cleared of 17", "Zarvel.GDD.11 Warning of 17"));
  EXPECT_THAT(SyncLog(),
              ElementsAre("7 SyncAlarms: gdd(10) event state the same (Alarm)",
                          "7 SyncAlarms: unprocessed cloud events (1) that need cleared",
                          "7 SyncAlarms: unprocessed device events (1) that need posted"));
}

// With Alarms.PairAll.
class AllPairsTest : public AlarmSyncTest {
 protected:
  void SetUp() override {
    AlarmSyncTest::SetUp();
    Policy policy;
    policy.alarms.pairAll = true;
    UsePolicy(policy);
  }
};

TEST_F(AllPairsTest, What_both_sides_hold_is_neither_cleared_nor_raised) {
  ServiceHolds("17", {{10, 0, "Alarm"}, {11, 0, "Warning"}, {20, 3, "Fault"}});
  platform().proxy.HasActive(20, 3, kFault);
  platform().proxy.HasActive(10, 0, kAlarm);
  platform().proxy.HasActive(11, 0, kWarning);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), IsEmpty());
  EXPECT_THAT(SyncLog(),
              ElementsAre("7 SyncAlarms: gdd(20) event state the same (Fault)",
                          "7 SyncAlarms: gdd(10) event state the same (Alarm)",
                          "7 SyncAlarms: gdd(11) event state the same (Warning)",
                          "7 SyncAlarms: unprocessed cloud events (0) that need cleared",
                          "7 SyncAlarms: unprocessed device events (0) that need posted"));
}

TEST_F(AllPairsTest, What_one_side_holds_is_cleared_or_raised) {
  ServiceHolds("17", {{10, 0, "Fault"}, {20, 1, "Warning"}, {11, 0, "Alarm"}});
  platform().proxy.HasActive(12, 0, kAlarm);
  platform().proxy.HasActive(11, 0, kAlarm);
  platform().proxy.HasActive(20, 2, kWarning);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17", "Zarvel.GDD.20:1 cleared of 17",
                                    "Zarvel.GDD.12 Alarm of 17", "Zarvel.GDD.20:2 Warning of 17"));
}

TEST_F(AllPairsTest, Each_pair_of_another_state_is_posted_once) {
  ServiceHolds("17", {{10, 0, "Alarm"}, {11, 0, "Alarm"}});
  platform().proxy.HasActive(10, 0, kFault);
  platform().proxy.HasActive(11, 0, kWarning);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Fault of 17", "Zarvel.GDD.11 Warning of 17"));
}

TEST_F(AllPairsTest, An_alarm_that_the_service_holds_twice_is_not_cleared_under_the_device) {
  ServiceHolds("17", {{10, 0, "Warning"}, {10, 0, "Fault"}});
  platform().proxy.HasActive(10, 0, kFault);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), IsEmpty());
}

TEST_F(AllPairsTest, Of_an_event_that_the_device_tells_twice_each_news_is_posted) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.HasActive(10, 0, kAlarm);
  platform().proxy.HasActive(10, 0, kAlarm);
  platform().proxy.HasActive(10, 0, kFault);
  platform().proxy.HasActive(10, 0, kFault);
  platform().proxy.HasActive(10, 0, kAlarm);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Fault of 17", "Zarvel.GDD.10 Alarm of 17"));
}

TEST_F(AlarmSyncTest, Posts_the_new_state_of_a_pair_once) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.HasActive(10, 0, kFault);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Fault of 17"));
  EXPECT_THAT(SyncLog(), ElementsAre("7 SyncAlarms: gdd(10) needs updated to new event "
                                     "state(Fault)  old event state(Alarm)",
                                     "7 SyncAlarms: unprocessed cloud events (0) that need cleared",
                                     "7 SyncAlarms: unprocessed device events (0) that need "
                                     "posted"));
}

TEST_F(AlarmSyncTest, Tells_of_a_changed_pair_after_its_post) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.HasActive(10, 0, kFault);
  service.answers("POST", kEventsPath, 500);
  mgr->SyncAlarms();
  const std::vector<std::string> lines = Log();
  ASSERT_GE(lines.size(), 4u);
  EXPECT_THAT(lines[lines.size() - 4],
              StartsWith("3 PostEventForAlarmToCloud: Failed to POST Event (6)"));
  EXPECT_THAT(lines[lines.size() - 3], StartsWith("7 SyncAlarms: gdd(10) needs updated"));
}

TEST_F(AlarmSyncTest, A_changed_pair_is_built_from_the_device) {
  ServiceHolds("17", {{20, 2, "Alarm", "Old text."}});
  platform().proxy.HasActive(20, 2, kFault);
  mgr->SyncAlarms();
  EXPECT_THAT(Documents(),
              ElementsAre(R"({ "MessageId": "Zarvel.GDD.20:2","Severity": "Fault",)"
                          R"("MessageArgs": ["Unit1","System","2", null],)"
                          R"("Message": "[3] Event 20.",)"
                          R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
                          R"( "Created": "2026-03-05T13:07:09+0000"})"));
}

TEST_F(AlarmSyncTest, A_same_pair_posts_and_tracks_nothing) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.HasActive(10, 0, kAlarm);
  mgr->SyncAlarms();
  EXPECT_THAT(Documents(), IsEmpty());
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "");
}

TEST_F(AlarmSyncTest, Pairs_by_number_and_module) {
  ServiceHolds("17", {{20, 0, "Alarm"}, {10, 0, "Alarm"}});
  platform().proxy.HasActive(20, 1, kAlarm);
  platform().proxy.HasActive(11, 0, kAlarm);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.20:0 cleared of 17", "Zarvel.GDD.10 cleared of 17",
                                    "Zarvel.GDD.20:1 Alarm of 17", "Zarvel.GDD.11 Alarm of 17"));
}

TEST_F(AlarmSyncTest, Pairs_the_module_of_an_event_of_a_single_module_too) {
  ServiceHolds("17", {{10, 2, "Alarm"}});
  platform().proxy.HasActive(10, 0, kAlarm);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17", "Zarvel.GDD.10 Alarm of 17"));
}

TEST_F(AlarmSyncTest, Takes_the_first_event_that_pairs_and_leaves_the_others) {
  ServiceHolds("17", {{10, 0, "Fault"}, {11, 0, "Alarm"}, {20, 1, "Warning"}});
  platform().proxy.HasActive(12, 0, kAlarm);
  platform().proxy.HasActive(11, 0, kAlarm);
  platform().proxy.HasActive(10, 0, kFault);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17", "Zarvel.GDD.20:1 cleared of 17",
                                    "Zarvel.GDD.12 Alarm of 17", "Zarvel.GDD.10 Fault of 17"));
  EXPECT_THAT(SyncLog(),
              ElementsAre("7 SyncAlarms: gdd(11) event state the same (Alarm)",
                          "7 SyncAlarms: unprocessed cloud events (2) that need cleared",
                          "7 SyncAlarms: unprocessed device events (2) that need posted"));
}

TEST_F(AlarmSyncTest, Takes_the_first_of_two_alarms_that_pair) {
  ServiceHolds("17", {{10, 0, "Warning"}, {10, 0, "Fault"}});
  platform().proxy.HasActive(10, 0, kFault);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17"));
  EXPECT_EQ(SyncLog()[0], "7 SyncAlarms: gdd(10) event state the same (Fault)");
}

TEST_F(AlarmSyncTest, Compares_states_by_length_and_bytes) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().stateTexts[kAlarm] = "ALARM";
  platform().proxy.HasActive(10, 0, kAlarm);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 ALARM of 17"));
}

TEST_F(AlarmSyncTest, A_state_that_begins_like_the_other_is_another_one) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  for (const char* state : {"Alar", "Alarms", ""}) {
    service.forget();
    platform().stateTexts[kAlarm] = state;
    platform().proxy.activeEvents.clear();
    platform().proxy.HasActive(10, 0, kAlarm);
    mgr->SyncAlarms();
    EXPECT_THAT(Posted(), ElementsAre(std::string("Zarvel.GDD.10 ") + state + " of 17"));
  }
}

TEST_F(AlarmSyncTest, Pairs_by_the_whole_number_and_argument) {
  platform().proxy.HasModules(20, 4);
  ServiceHolds("17", {{65536 + 20, 1, "Fault"}, {20, 65536 + 1, "Fault"}});
  platform().proxy.HasActive(20, 1, kFault);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(),
              ElementsAre("Zarvel.GDD.65556:1 cleared of 17", "Zarvel.GDD.20:65537 cleared of 17",
                          "Zarvel.GDD.20:1 Fault of 17"));
}

TEST_F(AlarmSyncTest, Counts_what_it_clears_and_posts_before_it_does) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.HasActive(11, 0, kAlarm);
  std::vector<size_t> posts;
  platform().log.hook = [&](const fakes::LogRecord& record) {
    if (record.text.find("unprocessed") != std::string::npos) posts.push_back(Documents().size());
  };
  mgr->SyncAlarms();
  EXPECT_THAT(posts, ElementsAre(0u, 1u));
  EXPECT_THAT(Documents(), SizeIs(2));
}

TEST_F(AlarmSyncTest, Two_chassis_of_one_device_are_both_made_the_devices) {
  platform().cloud.chassis = {{"17", 1}, {"18", 1}};
  ServiceHolds("17", {});
  ServiceHolds("18", {{10, 0, "Alarm"}});
  platform().proxy.HasActive(11, 0, kAlarm);
  mgr->SyncAlarms();
  EXPECT_THAT(platform().proxy.activeEventsAsked, ElementsAre(1, 1));
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.11 Alarm of 17", "Zarvel.GDD.10 cleared of 18",
                                    "Zarvel.GDD.11 Alarm of 18"));
}

TEST_F(AlarmSyncTest, A_device_without_active_events_clears_everything_in_order) {
  ServiceHolds("17", {{10, 0, "Warning"}, {11, 0, "Alarm"}, {20, 3, "Fault"}});
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.20:3 cleared of 17", "Zarvel.GDD.11 cleared of 17",
                                    "Zarvel.GDD.10 cleared of 17"));
  EXPECT_THAT(SyncLog(), ElementsAre("7 SyncAlarms: unprocessed cloud events (3) that need cleared",
                                     "7 SyncAlarms: unprocessed device events (0) that need "
                                     "posted"));
}

TEST_F(AlarmSyncTest, A_service_without_alarms_is_posted_everything_in_order) {
  ServiceHolds("17", {});
  platform().proxy.HasActive(20, 3, kFault);
  platform().proxy.HasActive(10, 0, kWarning);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.20:3 Fault of 17", "Zarvel.GDD.10 Warning of 17"));
  EXPECT_THAT(SyncLog(), ElementsAre("7 SyncAlarms: unprocessed cloud events (0) that need cleared",
                                     "7 SyncAlarms: unprocessed device events (2) that need "
                                     "posted"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.20:3"), "Fault");
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "Warning");
}

TEST_F(AlarmSyncTest, Nothing_on_either_side_posts_nothing) {
  ServiceHolds("17", {});
  mgr->SyncAlarms();
  EXPECT_THAT(Documents(), IsEmpty());
  EXPECT_THAT(SyncLog(), SizeIs(2));
}

TEST_F(AlarmSyncTest, A_clearing_document_keeps_the_services_alarm_and_is_stamped_now) {
  ServiceHolds("17", {{20, 2, "Alarm", "Old text."}});
  platform().sleeps.hook = [](uint64_t) { platform().clock.now += 60; };
  mgr->SyncAlarms();
  EXPECT_THAT(
      Documents(),
      ElementsAre(R"({ "MessageId": "258","Severity": "MESSAGE","MessageArgs": ["Unit1","System",)"
                  R"("2026-03-05T13:08:09+0000","Zarvel.GDD.20:2"],)"
                  R"("Message": "Old text (Cleared).",)"
                  R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
                  R"( "Created": "2026-03-05T13:07:09+0000"})"));
}

TEST_F(AlarmSyncTest, Clears_with_the_literal_word_whatever_the_platforms_text) {
  fakes::SetClearedText("Normal");
  platform().stateTexts[kCleared] = "Normal";
  ServiceHolds("17", {{20, 2, "Alarm", "Old text."}});
  platform().sleeps.hook = [](uint64_t) { platform().clock.now += 60; };
  mgr->SyncAlarms();
  EXPECT_THAT(Documents(),
              ElementsAre(R"({ "MessageId": "258","Severity": "MESSAGE",)"
                          R"("MessageArgs": ["Unit1","System","","Zarvel.GDD.20:2"],)"
                          R"("Message": "Old text (Cleared).",)"
                          R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
                          R"( "Created": "2026-03-05T13:08:09+0000"})"));
}

TEST_F(AlarmSyncTest, Clears_at_the_service_and_not_in_the_tracker) {
  mgr->PostEventForAlarmToCloud(Alarm(10, -1, "Alarm"), "17", kUuid);
  service.forget();
  ServiceHolds("17", {{10, 0, "Alarm"}});
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "Alarm");
}

TEST_F(AlarmSyncTest, Forgets_a_failed_clearing_until_the_next_one) {
  ServiceHolds("17", {{10, 0, "Alarm"}, {11, 0, "Alarm"}});
  service.answersOnce("POST", kEventsPath, 500);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17", "Zarvel.GDD.11 cleared of 17"));
  EXPECT_FALSE(mgr->HasEvents());
  service.forget();
  ServiceHolds("17", {{10, 0, "Alarm"}});
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17"));
}

TEST_F(AlarmSyncTest, Failed_posts_do_not_stop_it) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.HasActive(11, 0, kAlarm);
  platform().proxy.HasActive(12, 0, kAlarm);
  service.answers("POST", kEventsPath, 500);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17", "Zarvel.GDD.11 Alarm of 17",
                                    "Zarvel.GDD.12 Alarm of 17"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.11"), "");
}

TEST_F(AlarmSyncTest, Reads_then_asks_the_device_waits_2_seconds_and_posts) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  std::vector<std::string> before;
  platform().sleeps.hook = [&](uint64_t) {
    before = service.lines();
    EXPECT_THAT(platform().proxy.activeEventsAsked, ElementsAre(1));
  };
  mgr->SyncAlarms();
  EXPECT_THAT(before,
              ElementsAre("GET " + ListPath("17", "Fault"), "GET " + ListPath("17", "Alarm"),
                          "GET /event/1", "GET " + ListPath("17", "Warning")));
  EXPECT_THAT(platform().sleeps.microseconds, ElementsAre(2000000u));
  EXPECT_THAT(service.requests(), SizeIs(5));
}

TEST_F(AlarmSyncTest, An_event_that_comes_during_the_wait_counts_as_active) {
  ServiceHolds("17", {});
  platform().proxy.HasActive(10, 0, kAlarm);
  platform().sleeps.hook = [this](uint64_t) { Notified(11, 0, kFault); };
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17", "Zarvel.GDD.11 Fault of 17"));
  EXPECT_FALSE(mgr->HasEvents());
}

TEST_F(AlarmSyncTest, Waits_for_active_events_that_come_later) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.activeEventsAnswered = false;
  platform().sleeps.hook = [this](uint64_t) { Notified(10, 0, kAlarm); };
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), IsEmpty());
}

TEST_F(AlarmSyncTest, A_failed_query_of_the_device_clears_everything) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.HasActive(10, 0, kAlarm);
  platform().proxy.activeEventsStatus = 3;
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17"));
  EXPECT_THAT(Log(3), ElementsAre("3 GetDeviceActiveAlarms: Could not get active events for "
                                  "managed device: 1; status: 3"));
}

TEST_F(AlarmSyncTest, An_unreadable_list_posts_every_active_event_anew) {
  platform().proxy.HasActive(10, 0, kAlarm);
  platform().proxy.HasActive(11, 0, kAlarm);
  mgr->SyncAlarms();  // the service answers 404
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17", "Zarvel.GDD.11 Alarm of 17"));
}

TEST_F(AlarmSyncTest, Without_a_proxy_takes_what_is_queued) {
  ServiceHolds("17", {});
  Notified(10, 0, kAlarm);
  mgr->SetPldProxy(nullptr);
  mgr->SyncAlarms();
  EXPECT_THAT(Log(3), ElementsAre("3 GetDeviceActiveAlarms: NULL pldproxy"));
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10:0 Alarm of 17"));
}

}  // namespace
}  // namespace cloudclient
