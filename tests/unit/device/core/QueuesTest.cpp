// SPDX-License-Identifier: Apache-2.0
// Registration for notifications, the callbacks, and the two queues.
#include <cstddef>

#include "CoreTest.h"
#include "base/Policy.h"
#include "device/DeviceMgrState.h"

namespace device_core {

using cloudclient::DeviceCov;
using cloudclient::DeviceEvent;
using cloudclient::g_registrationSuppressed;
using testing::ElementsAre;
using testing::IsEmpty;

// The records' places in memory are those of a 32-bit appliance.
#define AT_32_BITS(claim) static_assert(sizeof(void*) != 4 || (claim), "layout of a record")
AT_32_BITS(offsetof(LxPldEventNotification, status) == 0);
AT_32_BITS(offsetof(LxPldEventNotification, gddId) == 4);
AT_32_BITS(offsetof(LxPldEventNotification, module) == 8);
AT_32_BITS(offsetof(LxPldEventNotification, eventState) == 10);
AT_32_BITS(offsetof(LxPldEventNotification, spare) == 12);
AT_32_BITS(sizeof(LxPldEventNotification) == 16);
AT_32_BITS(offsetof(LxPldCovNotification, status) == 0);
AT_32_BITS(offsetof(LxPldCovNotification, pointId) == 4);
AT_32_BITS(offsetof(LxPldCovNotification, word2) == 8);
AT_32_BITS(offsetof(LxPldCovNotification, extra) == 12);
AT_32_BITS(offsetof(LxPldCovNotification, word3) == 14);
AT_32_BITS(offsetof(LxPldCovNotification, valueText) == 20);
AT_32_BITS(offsetof(LxPldProxy::ActiveEvent, module) == 0);
AT_32_BITS(offsetof(LxPldProxy::ActiveEvent, gddId) == 4);
AT_32_BITS(offsetof(LxPldProxy::ActiveEvent, eventState) == 8);
AT_32_BITS(offsetof(DeviceEvent, velId) == 0);
AT_32_BITS(offsetof(DeviceEvent, gddId) == 4);
AT_32_BITS(offsetof(DeviceEvent, module) == 8);
AT_32_BITS(offsetof(DeviceEvent, eventState) == 10);
AT_32_BITS(offsetof(DeviceEvent, spare) == 12);
AT_32_BITS(offsetof(DeviceEvent, told) == 16);
static_assert(sizeof(DeviceCov::valueText) == 256, "the whole value buffer");

class InstanceTest : public CoreTest {};
class RegistrationTest : public CoreTest {};
class NotificationsTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    mgr->RegisterForDeviceDataChange(1);
  }
};
class EventQueueTest : public CoreTest {};
class CovQueueTest : public CoreTest {};

// With Queues.Most.
class BoundedQueueTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    cloudclient::Policy policy;
    policy.queues.most = 3;
    cloudclient::UsePolicy(policy);
  }

  void AddEvents(uint32_t from, uint32_t to) {
    for (uint32_t gddId = from; gddId <= to; ++gddId) mgr->AddDeviceEvent({0, gddId, 0, 3, 0});
  }
  std::vector<uint32_t> TakenEvents() {
    std::vector<DeviceEvent> events;
    EXPECT_EQ(mgr->TakeEvents(events), 0u);
    std::vector<uint32_t> numbers;
    for (const DeviceEvent& event : events) numbers.push_back(event.gddId);
    return numbers;
  }
};

TEST_F(BoundedQueueTest, Holds_as_many_as_the_policy_says) {
  AddEvents(1, 3);
  EXPECT_THAT(TakenEvents(), ElementsAre(1, 2, 3));
  EXPECT_THAT(Lines(4), IsEmpty());
}

TEST_F(BoundedQueueTest, Lets_the_oldest_events_give_way_and_counts_them) {
  AddEvents(1, 5);
  EXPECT_THAT(Lines(4), IsEmpty());
  EXPECT_THAT(TakenEvents(), ElementsAre(3, 4, 5));
  EXPECT_THAT(Lines(4), ElementsAre("4 TakeEvents: queue full, the oldest 2 were dropped"));
  AddEvents(6, 6);
  EXPECT_THAT(TakenEvents(), ElementsAre(6));
  EXPECT_THAT(Lines(4).size(), 1u);
}

TEST_F(BoundedQueueTest, Lets_the_oldest_changes_give_way_and_counts_them) {
  for (const uint32_t point : {1u, 2u, 3u, 4u}) mgr->AddDeviceCOV(Change(point).notification);
  std::vector<DeviceCov> covs;
  EXPECT_EQ(mgr->TakeCovs(covs), 0u);
  ASSERT_EQ(covs.size(), 3u);
  EXPECT_EQ(covs.front().pointId, 2u);
  EXPECT_EQ(covs.back().pointId, 4u);
  EXPECT_THAT(Lines(4), ElementsAre("4 TakeCovs: queue full, the oldest 1 were dropped"));
}

TEST_F(EventQueueTest, Is_not_bounded_without_a_policy) {
  for (uint32_t gddId = 0; gddId < 20000; ++gddId) mgr->AddDeviceEvent({0, gddId, 0, 3, 0});
  std::vector<DeviceEvent> events;
  EXPECT_EQ(mgr->TakeEvents(events), 0u);
  EXPECT_EQ(events.size(), 20000u);
}

TEST_F(InstanceTest, There_is_one) { EXPECT_EQ(cloudclient::DeviceMgr::GetInstance(), mgr); }

TEST_F(InstanceTest, Starts_at_rest) {
  EXPECT_FALSE(mgr->IsRunning());
  EXPECT_FALSE(mgr->IsSyncInProgress());
  EXPECT_FALSE(cloudclient::DeviceMgr::IsAlarmSyncRequested());
  EXPECT_FALSE(mgr->HasEvents());
  EXPECT_FALSE(mgr->HasCovs());
  EXPECT_TRUE(platform.threads.created.empty());
  EXPECT_EQ(platform.timer.activations, 0);
}

TEST_F(InstanceTest, Hands_out_what_it_was_given) {
  EXPECT_EQ(mgr->GetPldProxy(), &engine);
  EXPECT_EQ(mgr->GetHttpsClient(), https.get());
  mgr->SetPldProxy(nullptr);
  mgr->SetHttpsClient(nullptr);
  EXPECT_EQ(mgr->GetPldProxy(), nullptr);
  EXPECT_EQ(mgr->GetHttpsClient(), nullptr);
}

TEST_F(RegistrationTest, Asks_for_events_then_for_changes_of_value) {
  mgr->RegisterForDeviceDataChange(5);
  EXPECT_THAT(engine.registrations, ElementsAre("event 0 5", "cov 0 5"));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(RegistrationTest, Goes_on_when_the_engine_refuses_events) {
  engine.registerEventStatus = 9;
  engine.registerCovStatus = 9;
  mgr->RegisterForDeviceDataChange(5);
  EXPECT_THAT(engine.registrations, ElementsAre("event 0 5", "cov 0 5"));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(RegistrationTest, Says_that_there_is_no_proxy) {
  mgr->SetPldProxy(nullptr);
  mgr->RegisterForDeviceDataChange(5);
  EXPECT_THAT(Lines(), ElementsAre("3 RegisterForDeviceDataChange: NULL pldProxy"));
  EXPECT_THAT(engine.registrations, IsEmpty());
}

TEST_F(RegistrationTest, Is_not_made_while_suppressed) {
  g_registrationSuppressed = 1;
  mgr->RegisterForDeviceDataChange(5);
  EXPECT_THAT(engine.registrations, IsEmpty());
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(RegistrationTest, Is_made_again_when_asked_again) {
  mgr->RegisterForDeviceDataChange(5);
  mgr->RegisterForDeviceDataChange(6);
  EXPECT_THAT(engine.registrations, ElementsAre("event 0 5", "cov 0 5", "event 0 6", "cov 0 6"));
}

TEST_F(NotificationsTest, An_event_is_queued_field_for_field) {
  const LxPldEventNotification notification = {0, 70000, 2, 4, 0xA5A5A5A5};
  engine.eventCallback(0, &notification);
  ASSERT_EQ(mgr->GetEventList().size(), 1u);
  const DeviceEvent& event = mgr->GetEventList()[0];
  EXPECT_EQ(event.velId, 0u);
  EXPECT_EQ(event.gddId, 70000u);
  EXPECT_EQ(event.module, 2);
  EXPECT_EQ(event.eventState, 4);
  EXPECT_EQ(event.spare, 0xA5A5A5A5u);
}

TEST_F(NotificationsTest, An_event_with_a_first_word_is_ignored) {
  const LxPldEventNotification notification = {1, 4711, 0, 3, 0};
  engine.eventCallback(0, &notification);
  EXPECT_FALSE(mgr->HasEvents());
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(NotificationsTest, An_event_is_taken_whatever_the_status_beside_it) {
  const LxPldEventNotification notification = {0, 4711, 0, 3, 0};
  engine.eventCallback(9, &notification);
  EXPECT_TRUE(mgr->HasEvents());
}

TEST_F(NotificationsTest, A_change_is_queued_field_for_field_with_its_whole_buffer) {
  Change change(1201);
  for (size_t i = 0; i < sizeof change.buffer; ++i) change.buffer[i] = static_cast<char>(i);
  change.notification.word2 = 0x11223344;
  change.notification.extra = 0x5566;
  change.notification.word3 = 0x7788;
  engine.covCallback(0, &change.notification);
  ASSERT_EQ(mgr->GetCovList().size(), 1u);
  const DeviceCov& cov = mgr->GetCovList()[0];
  EXPECT_EQ(cov.word0, 0u);
  EXPECT_EQ(cov.pointId, 1201u);
  EXPECT_EQ(cov.word2, 0x11223344u);
  EXPECT_EQ(cov.extra, 0x5566);
  EXPECT_EQ(cov.word3, 0x7788);
  EXPECT_EQ(std::string(cov.valueText, sizeof cov.valueText),
            std::string(change.buffer, sizeof change.buffer));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(NotificationsTest, A_change_with_a_first_word_is_ignored) {
  Change change(1201);
  change.notification.status = 1;
  engine.covCallback(0, &change.notification);
  EXPECT_FALSE(mgr->HasCovs());
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(NotificationsTest, A_change_is_taken_whatever_the_status_beside_it) {
  const Change change(1201);
  engine.covCallback(9, &change.notification);
  EXPECT_TRUE(mgr->HasCovs());
}

TEST_F(EventQueueTest, Keeps_the_order_and_says_what_is_added) {
  Raise(4711);
  Raise(4000000000u, 1, 0, 4294967295u);
  EXPECT_TRUE(mgr->HasEvents());
  ASSERT_EQ(mgr->GetEventList().size(), 2u);
  EXPECT_EQ(mgr->GetEventList()[0].gddId, 4711u);
  EXPECT_EQ(mgr->GetEventList()[1].gddId, 4000000000u);
  EXPECT_THAT(Lines(),
              ElementsAre("7 AddDeviceEvent: adding event from pld engine: 0:4711",
                          "7 AddDeviceEvent: adding event from pld engine: 4294967295:4000000000"));
  EXPECT_EQ(platform.mutexes.locks, 2);
  EXPECT_EQ(platform.mutexes.Held(), 0);
}

TEST_F(EventQueueTest, Says_what_is_added_before_it_is_locked) {
  int records = 0;
  platform.log.hook = [&](const fakes::LogRecord&) {
    EXPECT_EQ(platform.mutexes.locks, 0);
    ++records;
  };
  Raise(4711);
  EXPECT_EQ(records, 1);
}

TEST_F(EventQueueTest, Drops_the_event_when_it_cannot_be_locked) {
  platform.mutexes.lockStatusOf[0] = 22;
  Raise(4711);
  EXPECT_FALSE(mgr->HasEvents());
  EXPECT_THAT(Lines(), ElementsAre("7 AddDeviceEvent: adding event from pld engine: 0:4711",
                                   "3 AddDeviceEvent: Failed to lock event mutex (22)"));
  EXPECT_EQ(platform.mutexes.unlocks, 0);
}

TEST_F(EventQueueTest, Is_not_bothered_by_the_other_mutex) {
  platform.mutexes.lockStatusOf[1] = 22;
  Raise(4711);
  EXPECT_TRUE(mgr->HasEvents());
}

TEST_F(EventQueueTest, Is_emptied_and_keeps_its_capacity) {
  for (int i = 0; i < 100; ++i) Raise(4711);
  const size_t capacity = mgr->GetEventList().capacity();
  mgr->ClearEvents();
  EXPECT_FALSE(mgr->HasEvents());
  EXPECT_EQ(mgr->GetEventList().capacity(), capacity);
}

TEST_F(EventQueueTest, Lock_and_unlock_answer_the_status_of_the_mutex) {
  EXPECT_EQ(mgr->LockEventList(), 0u);
  EXPECT_EQ(platform.mutexes.Held(), 1);
  EXPECT_EQ(mgr->UnlockEventList(), 0u);
  EXPECT_EQ(platform.mutexes.Held(), 0);
  platform.mutexes.lockStatusOf[0] = 35;
  EXPECT_EQ(mgr->LockEventList(), 35u);
}

TEST_F(CovQueueTest, Keeps_the_order_and_says_nothing) {
  mgr->AddDeviceCOV(Change(1201).notification);
  mgr->AddDeviceCOV(Change(1202).notification);
  EXPECT_TRUE(mgr->HasCovs());
  ASSERT_EQ(mgr->GetCovList().size(), 2u);
  EXPECT_EQ(mgr->GetCovList()[0].pointId, 1201u);
  EXPECT_EQ(mgr->GetCovList()[1].pointId, 1202u);
  EXPECT_THAT(Lines(), IsEmpty());
  EXPECT_EQ(platform.mutexes.Held(), 0);
}

TEST_F(CovQueueTest, Takes_the_change_as_it_is_before_it_is_locked) {
  Change change(1201, "21.5");
  platform.mutexes.onLock = [&](int) {
    change.notification.pointId = 9;
    change.buffer[2] = 'x';
  };
  mgr->AddDeviceCOV(change.notification);
  ASSERT_EQ(mgr->GetCovList().size(), 1u);
  EXPECT_EQ(mgr->GetCovList()[0].pointId, 1201u);
  EXPECT_STREQ(mgr->GetCovList()[0].valueText + 2, "21.5");
}

TEST_F(InstanceTest, Queues_are_asked_whether_they_hold_something_without_a_lock) {
  EXPECT_FALSE(mgr->HasEvents());
  EXPECT_FALSE(mgr->HasCovs());
  EXPECT_EQ(platform.mutexes.locks, 0);
  mgr->LockEventList();
  mgr->LockCovList();
  EXPECT_FALSE(mgr->HasEvents());
  EXPECT_FALSE(mgr->HasCovs());
  mgr->UnlockCovList();
  mgr->UnlockEventList();
}

TEST_F(InstanceTest, Flags_and_module_counts_take_no_lock) {
  cloudclient::DeviceMgr::SetAlarmSyncRequested(true);
  EXPECT_TRUE(cloudclient::DeviceMgr::IsAlarmSyncRequested());
  EXPECT_FALSE(mgr->IsRunning());
  EXPECT_FALSE(mgr->IsSyncInProgress());
  engine.HasModules(1201, 3);
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(0, 1201), 3);
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(0, 1201), 3);
  EXPECT_EQ(platform.mutexes.locks, 0);
}

TEST_F(CovQueueTest, Drops_the_change_when_it_cannot_be_locked) {
  platform.mutexes.lockStatusOf[1] = 22;
  mgr->AddDeviceCOV(Change(1201).notification);
  EXPECT_FALSE(mgr->HasCovs());
  EXPECT_THAT(Lines(), ElementsAre("3 AddDeviceCOV: Failed to lock the COV list mutex"));
  EXPECT_EQ(platform.mutexes.unlocks, 0);
}

TEST_F(CovQueueTest, Is_not_bothered_by_the_other_mutex) {
  platform.mutexes.lockStatusOf[0] = 22;
  mgr->AddDeviceCOV(Change(1201).notification);
  EXPECT_TRUE(mgr->HasCovs());
}

TEST_F(CovQueueTest, Is_emptied_and_keeps_its_capacity) {
  for (int i = 0; i < 100; ++i) mgr->AddDeviceCOV(Change(1201).notification);
  const size_t capacity = mgr->GetCovList().capacity();
  mgr->ClearCovs();
  EXPECT_FALSE(mgr->HasCovs());
  EXPECT_EQ(mgr->GetCovList().capacity(), capacity);
}

TEST_F(CovQueueTest, Lock_and_unlock_answer_the_status_of_the_mutex) {
  EXPECT_EQ(mgr->LockCovList(), 0u);
  EXPECT_EQ(platform.mutexes.Held(), 1);
  EXPECT_EQ(mgr->UnlockCovList(), 0u);
  platform.mutexes.lockStatusOf[1] = 35;
  EXPECT_EQ(mgr->LockCovList(), 35u);
}

}  // namespace device_core
