// SPDX-License-Identifier: Apache-2.0
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "AlarmSyncTest.h"
#include "base/JsonText.h"

namespace cloudclient {
namespace {

using fakes::platform;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

TEST_F(AlarmSyncTest, Without_the_managers_UUID_is_skipped) {
  platform().cloud.fails["GetUUID"] = 3;
  mgr->SyncAlarms();
  EXPECT_THAT(Log(), ElementsAre("3 SyncAlarms: Failed(3) to get manager instance"));
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(platform().proxy.activeEventsAsked, IsEmpty());
}

TEST_F(AlarmSyncTest, Without_chassis_does_nothing) {
  platform().cloud.chassis.clear();
  mgr->SyncAlarms();
  platform().cloud.chassis["17"] = 1;
  platform().cloud.fails["GetConfiguredChassis"] = 1;
  mgr->SyncAlarms();
  EXPECT_THAT(Log(), IsEmpty());
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(AlarmSyncTest, Synchronises_all_chassis_in_the_order_of_their_names) {
  platform().cloud.chassis = {{"b", 2}, {"a", 7}};
  ServiceHolds("a", {{10, 0, "Alarm"}});
  ServiceHolds("b", {{11, 0, "Alarm"}});
  mgr->SyncAlarms();
  EXPECT_THAT(ChassisAsked(), ElementsAre("a", "b"));
  EXPECT_THAT(platform().proxy.activeEventsAsked, ElementsAre(7, 2));
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of a", "Zarvel.GDD.11 cleared of b"));
}

TEST_F(AlarmSyncTest, A_chassis_without_device_instance_is_told_and_skipped) {
  platform().cloud.chassis = {{"a", std::nullopt}, {"b", 2}};
  ServiceHolds("a", {{10, 0, "Alarm"}});
  ServiceHolds("b", {{11, 0, "Alarm"}});
  mgr->SyncAlarms();
  EXPECT_THAT(Log(3), ElementsAre("3 SyncAlarms: Failed(1) to get velocity instance for chassis: "
                                  "a"));
  EXPECT_THAT(ChassisAsked(), ElementsAre("a", "b"));
  EXPECT_THAT(platform().proxy.activeEventsAsked, ElementsAre(2));
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.11 cleared of b"));
  EXPECT_THAT(platform().sleeps.microseconds, SizeIs(1));
}

TEST_F(AlarmSyncTest, A_queue_that_cannot_be_locked_skips_the_chassis_silently) {
  platform().cloud.chassis = {{"a", 1}, {"b", 2}};
  ServiceHolds("a", {{10, 0, "Alarm"}});
  ServiceHolds("b", {{11, 0, "Alarm"}});
  platform().proxy.HasActive(12, 0, kAlarm);
  platform().sleeps.hook = [this](uint64_t) {
    unsigned int& status = platform().mutexes.lockStatusOf[EventMutex()];
    status = platform().sleeps.microseconds.size() == 1 ? 7 : 0;
  };
  const auto answer = fakes::curl().respond;
  fakes::curl().respond = [&](const fakes::Transfer& transfer) {
    platform().mutexes.lockStatusOf[EventMutex()] = 0;
    return answer(transfer);
  };
  mgr->SyncAlarms();
  EXPECT_THAT(Log(3), IsEmpty());
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.11 cleared of b", "Zarvel.GDD.12 Alarm of b"));
  EXPECT_THAT(SyncLog(), SizeIs(2));
  EXPECT_FALSE(mgr->IsSyncInProgress());
  EXPECT_TRUE(EventQueueIsFree());
}

TEST_F(AlarmSyncTest, Leaves_the_queue_empty_and_unlocked) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.HasActive(10, 0, kAlarm);
  fakes::curl().onPerform = [this](fakes::Transfer& transfer) {
    if (transfer.Method() == "POST") {
      EXPECT_EQ(platform().mutexes.Held(), 1);  // the transport's alone
    }
  };
  platform().sleeps.hook = [](uint64_t) { EXPECT_EQ(platform().mutexes.Held(), 0); };
  mgr->SyncAlarms();
  EXPECT_FALSE(mgr->HasEvents());
  EXPECT_TRUE(EventQueueIsFree());
}

TEST_F(AlarmSyncTest, Is_in_progress_from_the_query_of_the_device_to_the_last_post) {
  platform().cloud.chassis = {{"a", 1}, {"b", 2}};
  ServiceHolds("a", {{10, 0, "Alarm"}});
  ServiceHolds("b", {{11, 0, "Alarm"}});
  std::vector<std::string> seen;
  fakes::curl().onPerform = [&](fakes::Transfer& transfer) {
    seen.push_back(transfer.Method() + (mgr->IsSyncInProgress() ? " in progress" : ""));
  };
  platform().sleeps.hook = [&](uint64_t) {
    seen.push_back(mgr->IsSyncInProgress() ? "wait in progress" : "wait");
  };
  mgr->SyncAlarms();
  EXPECT_THAT(seen,
              ElementsAre("GET", "GET", "GET", "GET", "wait in progress", "POST in progress", "GET",
                          "GET", "GET", "GET", "wait in progress", "POST in progress"));
  EXPECT_FALSE(mgr->IsSyncInProgress());
}

// Tells whether a synchronisation is in progress when the device is asked.
class WatchedProxy : public fakes::PldProxy {
 public:
  int GetActiveEvents(ActiveEventsCallback callback, int velId) override {
    inProgress.push_back(DeviceMgr::GetInstance()->IsSyncInProgress());
    return fakes::PldProxy::GetActiveEvents(callback, velId);
  }
  std::vector<bool> inProgress;
};

TEST_F(AlarmSyncTest, Is_in_progress_before_the_device_is_asked) {
  WatchedProxy proxy;
  mgr->SetPldProxy(&proxy);
  mgr->SyncAlarms();
  EXPECT_THAT(proxy.inProgress, ElementsAre(true));
}

TEST_F(AlarmSyncTest, In_progress_keeps_the_poster_from_the_queue) {
  ServiceHolds("17", {});
  bool waiting = false;
  platform().sleeps.hook = [&](uint64_t) {
    if (waiting) return;
    waiting = true;
    Notified(10, 0, kAlarm);
    RunPoster({[] {}, [] {}});
    EXPECT_TRUE(mgr->HasEvents());
    EXPECT_THAT(Posted(), IsEmpty());
  };
  mgr->SyncAlarms();
  EXPECT_TRUE(waiting);
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
}

TEST_F(AlarmSyncTest, Is_no_longer_in_progress_when_the_wait_is_left_by_an_exception) {
  ServiceHolds("17", {});
  platform().sleeps.LeaveAfter(1);
  EXPECT_THROW(mgr->SyncAlarms(), fakes::Leave);
  EXPECT_FALSE(mgr->IsSyncInProgress());
}

TEST_F(AlarmSyncTest, Is_no_longer_in_progress_when_a_post_raises) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  fakes::curl().onPerform = [](fakes::Transfer& transfer) {
    if (transfer.Method() == "POST") throw std::bad_alloc();
  };
  EXPECT_THROW(mgr->SyncAlarms(), std::bad_alloc);
  EXPECT_FALSE(mgr->IsSyncInProgress());
}

TEST_F(AlarmSyncTest, Lists_that_cannot_be_cut_are_empty_and_stop_neither_pass) {
  platform().cloud.chassis = {{"a", 1}, {"b", 2}};
  ServiceHolds("a", {{11, 0, "Warning"}});
  ServiceHolds("b", {{10, 0, "Alarm"}});
  AnswersWithTrailer(ListPath("a", "Warning"), kLongTrailer);
  AnswersWithTrailer(ListPath("b", "Fault"), kLongTrailer);
  platform().proxy.HasActive(12, 0, kAlarm);
  mgr->SyncAlarms();
  EXPECT_FALSE(mgr->IsSyncInProgress());
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.12 Alarm of a", "Zarvel.GDD.10 cleared of b",
                                    "Zarvel.GDD.12 Alarm of b"));
  EXPECT_THAT(platform().proxy.activeEventsAsked, ElementsAre(1, 2));
}

TEST_F(AlarmSyncTest, Of_bad_events_goes_on_with_the_good_ones) {
  service.answers("GET", "/event/1", 200, "nonsense");
  service.answers("GET", "/event/2", 200, EventOf({10, 0, "Alarm"}));
  ServiceLists("17", "Alarm", R"([5, {"@odata.id": "/event/1"}, {"@odata.id": "/event/2"}])");
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17"));
}

TEST_F(AlarmSyncTest, A_device_event_that_is_cleared_is_posted_as_clearing) {
  ServiceHolds("17", {});
  platform().proxy.HasActive(10, 0, kCleared);
  mgr->SyncAlarms();
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "");
}

// The entry for one chassis.
class ChassisSyncTest : public AlarmSyncTest {
 protected:
  void SetUp() override {
    AlarmSyncTest::SetUp();
    const JsonRef map(json_loads(R"({"resourceUrls": [
        {"name": "b", "url": "/b/<uuid>", "resourceTag": "<uuid>", "resourcePatch": "b.htm"},
        {"name": "a", "url": "/a/<chassisid>", "resourceTag": "<chassisid>",
         "resourcePatch": "a.htm"}]})",
                                 0, nullptr));
    ASSERT_EQ(mgr->GetPatchMgr().InitResUrlMap(map.get(), ""), 0);
    platform().pages.texts = {{"a.htm", "{\"a\": 1}"}, {"b.htm", "{\"b\": 1}"}};
    service.answers("PATCH", "/*", 204);
  }
};

TEST_F(ChassisSyncTest, Sends_every_resource_of_the_chassis_then_synchronises) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  mgr->SyncChassisAlarms(7, "18");
  EXPECT_THAT(
      service.lines(),
      ElementsAre("PATCH /a/18", std::string("PATCH /b/") + kUuid, "GET " + ListPath("17", "Fault"),
                  "GET " + ListPath("17", "Alarm"), "GET /event/1",
                  "GET " + ListPath("17", "Warning"), std::string("POST ") + kEventsPath));
  ASSERT_THAT(platform().pages.asked, SizeIs(2));
  EXPECT_EQ(platform().pages.asked[0].velId, 7);
  EXPECT_EQ(service.requests()[0].document, "{\"a\": 1}");
}

TEST_F(ChassisSyncTest, Synchronises_every_configured_chassis) {
  platform().cloud.chassis = {{"17", 1}, {"18", 2}};
  mgr->SyncChassisAlarms(1, "17");
  EXPECT_THAT(ChassisAsked(), ElementsAre("17", "18"));
  EXPECT_THAT(platform().proxy.activeEventsAsked, ElementsAre(1, 2));
}

TEST_F(ChassisSyncTest, Without_the_managers_UUID_sends_nothing_and_is_told) {
  platform().cloud.fails["GetUUID"] = 3;
  mgr->SyncChassisAlarms(1, "17");
  EXPECT_THAT(Log(), ElementsAre("3 SyncAlarms: Failed(3) to get manager instance"));
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(ChassisSyncTest, Synchronises_when_only_the_first_reading_of_the_UUID_fails) {
  platform().cloud.fails["GetUUID"] = 3;
  int readings = 0;
  platform().cloud.onCall = [&](const std::string& operation) {
    if (operation == "GetUUID" && ++readings == 2) platform().cloud.fails.clear();
  };
  mgr->SyncChassisAlarms(1, "17");
  EXPECT_THAT(service.lines(), Each(Not(StartsWith("PATCH"))));
  EXPECT_THAT(ChassisAsked(), ElementsAre("17"));
}

TEST_F(ChassisSyncTest, Refused_resources_do_not_stop_it) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  service.answers("PATCH", "/*", 500);
  mgr->SyncChassisAlarms(1, "17");
  EXPECT_THAT(ChassisAsked(), ElementsAre("17"));
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17"));
}

}  // namespace
}  // namespace cloudclient
