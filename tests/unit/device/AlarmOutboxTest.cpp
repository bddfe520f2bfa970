// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "AlarmTest.h"
#include "base/Policy.h"

namespace cloudclient {
namespace {

using fakes::platform;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

// Alarms on the poster thread with an outbox, where both sides' alarms are paired. One chassis, 17,
// of device instance 0, which queued events carry.
class AlarmOutboxTest : public AlarmTest {
 protected:
  AlarmOutboxTest() {
    std::string name = std::filesystem::temp_directory_path() / "outbox.XXXXXX";
    EXPECT_NE(mkdtemp(name.data()), nullptr);
    m_root = name;
  }
  ~AlarmOutboxTest() override { std::filesystem::remove_all(m_root); }

  void SetUp() override {
    AlarmTest::SetUp();
    platform().root = m_root.string();
    Policy policy;
    policy.outbox.folder = "/outbox";
    policy.alarms.pairAll = true;
    UsePolicy(policy);
    platform().cloud.chassis["17"] = 0;
    for (const uint16_t gddId : {10, 11, 12}) {
      platform().proxy.HasModules(gddId, 1);
      platform().proxy.eventTexts[gddId] = "Event " + std::to_string(gddId);
    }
    ServiceHolds("17", {});
  }

  // Steps of the poster; each is a minute after the last one.
  std::function<void()> Event(uint32_t gddId, uint16_t state) {
    return [=] {
      platform().clock.now += 60;
      Notified(gddId, 0, state);
    };
  }
  static void Minute() {
    platform().clock.now += 60;
    platform().clock.monotonicUs += 60000000;
  }
  static void Request() { DeviceMgr::SetAlarmSyncRequested(true); }

  // The device tells of something while a synchronisation waits for its active events.
  void WhileTheDeviceIsAsked(const std::function<void()>& happens) {
    platform().sleeps.hook = [this, happens](uint64_t microseconds) {
      if (microseconds != 2000000 || !mgr->IsSyncInProgress()) return;
      happens();
    };
  }
  // What the service's lists were asked for so far.
  size_t ListsAsked() const { return service.requests("GET", ListPath("17", "Fault")).size(); }
  std::string Outboxed() const {
    std::ifstream file(m_root / "outbox" / "00000001.outbox", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  std::string Root() const { return m_root.string(); }
  // What the device told and no poster has taken.
  static std::vector<uint32_t> Told() {
    ToldEvents told;
    std::vector<DeviceEvent> queue;
    told.Open(queue);
    std::vector<uint32_t> numbers;
    numbers.reserve(queue.size());
    for (const DeviceEvent& event : queue) numbers.push_back(event.gddId);
    return numbers;
  }
  // What the files of the queue hold, done or not, while the manager has them.
  std::string ToldText() const {
    std::ifstream file(m_root / "outbox" / "told" / "00000001.outbox", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }
  // An earlier process was told of an event, and ended; its key.
  static std::string ToldBefore(uint32_t gddId, uint16_t state) {
    ToldEvents told;
    std::vector<DeviceEvent> queue;
    told.Open(queue);
    DeviceEvent event = {};
    event.gddId = gddId;
    event.eventState = state;
    told.Put(event);
    return told.TellingOf(event).key;
  }

 private:
  std::filesystem::path m_root;
};

TEST_F(AlarmOutboxTest, An_event_is_sent_in_the_pass_that_takes_it_with_a_key) {
  RunPoster({Event(10, kAlarm), Event(10, kCleared)});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17", "Zarvel.GDD.10 cleared of 17"));
  EXPECT_TRUE(service.requests()[0].HasHeader("Message-Key"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "");
}

TEST_F(AlarmOutboxTest, An_event_counts_as_posted_when_it_is_on_the_disk) {
  RunPoster({[this] { service.isDown(); }, Event(10, kAlarm), Event(10, kAlarm),
             [this] { EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "Alarm"); }, Event(10, kCleared),
             [this] {
               EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "");
               service.forget();
               service.isDown(CURLE_OK);
               Minute();
             }});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17", "Zarvel.GDD.10 cleared of 17"));
}

TEST_F(AlarmOutboxTest, An_event_is_on_the_disk_until_the_poster_has_put_it) {
  RunPoster({[this] {
               Notified(10, 1, kAlarm);
               EXPECT_THAT(ToldText(), testing::StartsWith("+ "));
               EXPECT_THAT(ToldText(), testing::EndsWith("10 1 3\n"));
             },
             [this] { EXPECT_THAT(ToldText(), testing::StartsWith("- ")); }});
  EXPECT_THAT(Posted(), SizeIs(1));
}

TEST_F(AlarmOutboxTest, What_an_earlier_process_was_told_is_posted_with_its_time_and_key) {
  const std::string key = ToldBefore(10, kAlarm);
  platform().clock.now += 60;
  RunPoster({[this] { Notified(11, 0, kAlarm); }});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17", "Zarvel.GDD.11 Alarm of 17"));
  EXPECT_THAT(Documents()[0], testing::HasSubstr(kNow));
  EXPECT_THAT(Documents()[1], testing::HasSubstr(kLater));
  EXPECT_THAT(service.requests()[0].headerLines, Contains("Message-Key: " + key));
}

TEST_F(AlarmOutboxTest, What_could_not_be_read_at_the_start_is_posted_when_it_can_be) {
  ToldBefore(10, kAlarm);
  const std::string told = Root() + "/outbox/told";
  std::filesystem::rename(told, told + ".aside");
  std::ofstream(told) << "in the way";
  RunPoster({[&] {
    std::filesystem::remove(told);
    std::filesystem::rename(told + ".aside", told);
  }});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
}

TEST_F(AlarmOutboxTest, A_clearing_has_the_time_at_which_it_was_told) {
  ToldBefore(10, kCleared);
  platform().clock.now += 60;
  RunPoster({[] {}});
  ASSERT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17"));
  EXPECT_THAT(Documents()[0], testing::HasSubstr(kNow));
}

TEST_F(AlarmOutboxTest, What_is_not_posted_is_not_kept) {
  RunPoster({Event(10, kAlarm), Event(10, kAlarm)});
  EXPECT_THAT(Posted(), SizeIs(1));
  EXPECT_THAT(ToldText(), Not(testing::HasSubstr("+ ")));
}

TEST_F(AlarmOutboxTest, What_is_of_no_chassis_is_not_kept) {
  platform().cloud.chassis["17"] = 3;
  RunPoster({Event(10, kAlarm)});
  EXPECT_THAT(Log(3), ElementsAre("3 CloudPoster: Failed to find chassis instance for velid: 0"));
  EXPECT_THAT(ToldText(), testing::StartsWith("- "));
}

TEST_F(AlarmOutboxTest, What_gives_way_in_the_queue_is_not_kept) {
  Policy policy = ThePolicy();
  policy.queues.most = 2;
  UsePolicy(policy);
  RunPoster({[this] {
    for (const uint32_t gddId : {10, 11, 12}) Notified(gddId, 0, kAlarm);
    EXPECT_THAT(ToldText(), testing::StartsWith("- "));
  }});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.11 Alarm of 17", "Zarvel.GDD.12 Alarm of 17"));
}

TEST_F(AlarmOutboxTest, What_is_told_before_there_is_a_chassis_waits_for_the_next_process) {
  platform().cloud.chassis.clear();
  platform().sleeps.hook = [this](uint64_t /*microseconds*/) {
    if (mgr->HasEvents()) mgr->Stop();
    Notified(11, 0, kFault);
  };
  mgr->Start();
  platform().threads.Run(0);
  delete mgr;
  mgr = nullptr;
  EXPECT_THAT(Told(), Not(IsEmpty()));
}

TEST_F(AlarmOutboxTest, An_event_that_can_not_be_put_is_posted_as_without_an_outbox) {
  std::ofstream(Root() + "/outbox") << "in the way";
  RunPoster({Event(10, kAlarm)});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
  EXPECT_FALSE(service.requests()[0].HasHeader("Message-Key"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.10"), "Alarm");
}

TEST_F(AlarmOutboxTest, What_is_queued_when_the_poster_ends_is_put_and_not_sent) {
  fakes::curl().onPerform = [this](fakes::Transfer& /*transfer*/) {
    fakes::curl().onPerform = nullptr;
    Notified(11, 0, kFault);
    mgr->Stop();
  };
  RunPoster({Event(10, kAlarm)});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
  EXPECT_THAT(Outboxed(), testing::HasSubstr("Zarvel.GDD.11"));
}

TEST_F(AlarmOutboxTest, A_poster_that_found_no_chassis_leaves_the_queue_to_the_next) {
  platform().cloud.chassis.clear();
  platform().sleeps.hook = [this](uint64_t /*microseconds*/) {
    if (mgr->HasEvents()) mgr->Stop();
    Notified(11, 0, kFault);
  };
  mgr->Start();
  platform().threads.Run(0);
  EXPECT_FALSE(mgr->IsRunning());
  EXPECT_TRUE(mgr->HasEvents());
  EXPECT_THAT(Log(3), IsEmpty());
}

TEST_F(AlarmOutboxTest, A_stop_between_two_passes_sends_nothing_more) {
  RunPoster({[this] { service.isDown(); }, Event(10, kAlarm),
             [this] {
               service.forget();
               service.isDown(CURLE_OK);
               Minute();
               Notified(11, 0, kFault);
               mgr->Stop();
             }});
  EXPECT_THAT(Posted(), IsEmpty());
  EXPECT_THAT(Outboxed(), testing::HasSubstr("Zarvel.GDD.11"));
}

TEST_F(AlarmOutboxTest, A_stop_of_the_process_ends_the_sending) {
  bool stops = false;
  client.EndWhen([&stops] { return stops; });
  RunPoster({[this] { service.isDown(); }, Event(10, kAlarm), Event(11, kAlarm),
             [&] {
               service.forget();
               service.isDown(CURLE_OK);
               Minute();
               fakes::curl().onPerform = [&](fakes::Transfer& /*transfer*/) { stops = true; };
             }});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
}

TEST_F(AlarmOutboxTest, A_stop_ends_the_sending_after_the_request_under_way) {
  RunPoster({[this] { service.isDown(); }, Event(10, kAlarm), Event(11, kAlarm),
             [this] {
               service.forget();
               service.isDown(CURLE_OK);
               Minute();
               fakes::curl().onPerform = [this](fakes::Transfer& /*transfer*/) { mgr->Stop(); };
             }});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
}

TEST_F(AlarmOutboxTest, A_synchronisation_waits_for_an_empty_outbox) {
  RunPoster({[this] { service.isDown(); }, Event(10, kAlarm), Request,
             [this] {
               EXPECT_EQ(ListsAsked(), 0u);
               EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
               service.isDown(CURLE_OK);
               service.forget();
               ServiceHolds("17", {{10, 0, "Alarm"}});
               platform().proxy.HasActive(10, 0, kAlarm);
               Minute();
             }});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
  EXPECT_EQ(ListsAsked(), 1u);
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(AlarmOutboxTest, A_synchronisation_posts_through_the_outbox) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.HasActive(11, 0, kFault);
  RunPoster({Request});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17", "Zarvel.GDD.11 Fault of 17"));
  for (const fakes::Request& request : service.requests("POST", kEventsPath)) {
    EXPECT_TRUE(request.HasHeader("Message-Key"));
  }
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(AlarmOutboxTest, A_synchronisation_that_could_not_send_all_is_made_once_more) {
  platform().proxy.HasActive(11, 0, kFault);
  service.answers("POST", kEventsPath, 503);
  RunPoster({Request, [this] {
               EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
               service.answers("POST", kEventsPath, 201);
               service.forget();
               ServiceHolds("17", {{11, 0, "Fault"}});
               Minute();
             }});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.11 Fault of 17"));
  EXPECT_EQ(ListsAsked(), 1u);
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(AlarmOutboxTest, What_comes_and_goes_while_the_device_is_asked_is_posted_once) {
  WhileTheDeviceIsAsked([this] {
    Notified(10, 0, kAlarm);
    Notified(10, 0, kCleared);
  });
  RunPoster({Request});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17", "Zarvel.GDD.10 cleared of 17"));
}

TEST_F(AlarmOutboxTest, What_is_raised_while_the_device_is_asked_is_posted_once_and_stays) {
  service.answers("POST", kEventsPath, 201);
  WhileTheDeviceIsAsked([this] {
    Notified(10, 0, kAlarm);
    ServiceHolds("17", {{10, 0, "Alarm"}});
  });
  RunPoster({Request});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
}

TEST_F(AlarmOutboxTest, What_is_active_and_notified_as_well_is_posted_once) {
  platform().proxy.HasActive(10, 0, kAlarm);
  platform().proxy.HasActive(11, 0, kMessage);
  WhileTheDeviceIsAsked([this] {
    Notified(10, 0, kAlarm);
    Notified(11, 0, kMessage);
    ServiceHolds("17", {{10, 0, "Alarm"}});
  });
  RunPoster({Request});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17", "Zarvel.GDD.11 Message of 17"));
}

TEST_F(AlarmOutboxTest, What_is_cleared_while_the_device_is_asked_is_cleared_once) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.HasActive(10, 0, kAlarm);
  WhileTheDeviceIsAsked([this] {
    Notified(10, 0, kCleared);
    ServiceHolds("17", {});
  });
  RunPoster({Request});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 cleared of 17"));
}

TEST_F(AlarmOutboxTest, What_changes_its_state_while_the_device_is_asked_is_posted_once) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.HasActive(10, 0, kAlarm);
  WhileTheDeviceIsAsked([this] {
    Notified(10, 0, kFault);
    ServiceHolds("17", {{10, 0, "Fault"}});
  });
  RunPoster({Request});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Fault of 17"));
}

TEST_F(AlarmOutboxTest, Without_the_services_alarms_it_is_put_off_and_nothing_posted) {
  platform().proxy.HasActive(11, 0, kFault);
  ServiceLists("17", "Warning", "", 500);
  RunPoster({Request, [this] {
               EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
               EXPECT_EQ(ListsAsked(), 1u);
               ServiceHolds("17", {});
               Minute();
             }});
  EXPECT_THAT(Log(4), Contains("4 SyncAlarms: put off, the service does not answer"));
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.11 Fault of 17"));
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(AlarmOutboxTest, With_an_event_that_can_not_be_had_it_is_put_off_too) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  ServiceLists("17", "Fault", R"([{"@odata.id": "/redfish/v1/gone"}])");
  RunPoster({Request});
  EXPECT_THAT(Log(4), Contains("4 SyncAlarms: put off, the service does not answer"));
  EXPECT_THAT(Posted(), IsEmpty());
  EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(AlarmOutboxTest, With_an_answer_that_is_no_list_it_is_put_off_too) {
  platform().proxy.HasActive(11, 0, kFault);
  ServiceLists("17", "Fault", "{}");
  RunPoster({Request});
  EXPECT_THAT(Posted(), IsEmpty());
  EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(AlarmOutboxTest, One_that_is_put_off_again_and_again_waits_longer_and_holds_no_event) {
  platform().proxy.activeEventsStatus = 7;
  std::vector<std::function<void()>> passes = {Request};
  for (int i = 0; i < 100; ++i) passes.emplace_back([] {});
  passes.push_back(Event(10, kAlarm));
  RunPoster(passes);
  // Five seconds a pass: after 5, 10, 20, 40, 80, 160 and 300 s, or half of that.
  const size_t attempts = platform().proxy.activeEventsAsked.size();
  EXPECT_GE(attempts, 6u);
  EXPECT_LE(attempts, 10u);
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.10 Alarm of 17"));
}

TEST_F(AlarmOutboxTest, An_event_that_says_nothing_is_left_out_and_holds_up_nothing) {
  platform().proxy.HasActive(11, 0, kFault);
  ServiceLists("17", "Fault", R"([{"@odata.id": "/redfish/v1/empty"}])");
  service.answers("GET", "/redfish/v1/empty", 200, "{}");
  RunPoster({Request});
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.11 Fault of 17"));
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(AlarmOutboxTest, Without_the_devices_answer_it_is_put_off_and_nothing_cleared) {
  ServiceHolds("17", {{10, 0, "Alarm"}});
  platform().proxy.activeEventsStatus = 7;
  RunPoster({Request, [this] {
               platform().proxy.activeEventsStatus = 0;
               platform().proxy.activeEventsCallbackStatus = 3;
               Minute();
             }});
  EXPECT_THAT(Log(4), Contains("4 SyncAlarms: put off, the device does not answer"));
  EXPECT_THAT(Posted(), IsEmpty());
  EXPECT_EQ(ListsAsked(), 0u);
  EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(AlarmOutboxTest, What_the_device_answered_last_time_is_not_its_answer) {
  platform().proxy.HasActive(10, 0, kAlarm);
  ServiceHolds("17", {{10, 0, "Alarm"}});
  RunPoster({Request, [this] {
               platform().proxy.activeEventsAnswered = false;
               Request();
             }});
  EXPECT_THAT(Log(4), Contains("4 SyncAlarms: put off, the device does not answer"));
}

TEST_F(AlarmOutboxTest, What_is_notified_during_the_comparison_stays_in_the_queue) {
  RunPoster({[this] {
    Request();
    fakes::curl().onPerform = [this](fakes::Transfer& transfer) {
      if (transfer.url.find("Severity=Warning") == std::string::npos) return;
      Notified(12, 0, kAlarm);
    };
  }});
  EXPECT_THAT(mgr->GetEventList(), SizeIs(1));
  EXPECT_THAT(Posted(), IsEmpty());
}

TEST_F(AlarmOutboxTest, What_is_notified_is_at_the_service_before_its_alarms_are_read) {
  platform().proxy.HasActive(10, 0, kAlarm);
  service.answers("POST", kEventsPath, 503);
  WhileTheDeviceIsAsked([this] { Notified(10, 0, kAlarm); });
  RunPoster({Request});
  EXPECT_EQ(ListsAsked(), 0u);
  EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(AlarmOutboxTest, At_a_connection_what_waits_is_sent_first) {
  ASSERT_TRUE(mgr->GetOutbox().PutEvent("{}", "17"));
  mgr->SyncChassisAlarms(0, "17");
  EXPECT_THAT(service.requests("POST", kEventsPath), SizeIs(1));
  EXPECT_EQ(ListsAsked(), 1u);
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(AlarmOutboxTest, At_a_connection_one_that_is_put_off_is_left_to_the_poster) {
  ServiceLists("17", "Warning", "", 500);
  mgr->SyncChassisAlarms(0, "17");
  EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(AlarmOutboxTest, At_a_connection_it_is_left_to_the_poster_while_something_waits) {
  service.isDown();
  ASSERT_TRUE(mgr->GetOutbox().PutEvent("{}", "17"));
  mgr->SyncChassisAlarms(0, "17");
  EXPECT_EQ(ListsAsked(), 0u);
  EXPECT_THAT(platform().proxy.activeEventsAsked, IsEmpty());
  EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
}

}  // namespace
}  // namespace cloudclient
