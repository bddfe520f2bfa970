// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <string>
#include <vector>

#include "AlarmTest.h"

namespace cloudclient {
namespace {

using fakes::platform;
using testing::ElementsAre;
using testing::IsEmpty;

class ActiveEventsTest : public AlarmTest {
 protected:
  void Queue(uint32_t gddId) {
    DeviceEvent event = {};
    event.gddId = gddId;
    mgr->AddDeviceEvent(event);
    ForgetLog();
  }

  // The numbers of the queued events.
  std::vector<uint32_t> Queued() {
    std::vector<uint32_t> numbers;
    for (const DeviceEvent& event : mgr->GetEventList()) numbers.push_back(event.gddId);
    return numbers;
  }
};

TEST_F(ActiveEventsTest, Are_queued_in_the_order_of_the_list) {
  platform().proxy.HasActive(11, 0, kAlarm);
  platform().proxy.HasActive(10, 2, kWarning);
  mgr->GetDeviceActiveAlarms(5);
  EXPECT_THAT(platform().proxy.activeEventsAsked, ElementsAre(5));
  EXPECT_THAT(Queued(), ElementsAre(11u, 10u));
  EXPECT_THAT(Log(), ElementsAre("7 AddDeviceEvent: adding event from pld engine: 0:11",
                                 "7 AddDeviceEvent: adding event from pld engine: 0:10"));
  EXPECT_TRUE(EventQueueIsFree());
}

TEST_F(ActiveEventsTest, Carry_device_instance_0_and_the_low_half_of_the_module_word) {
  platform().proxy.HasActive(0xFFFFFFFF, 0xABCD0002, kFault);
  mgr->GetDeviceActiveAlarms(5);
  ASSERT_EQ(mgr->GetEventList().size(), 1u);
  const DeviceEvent& event = mgr->GetEventList()[0];
  EXPECT_EQ(event.velId, 0u);
  EXPECT_EQ(event.gddId, 0xFFFFFFFFu);
  EXPECT_EQ(event.module, 2u);
  EXPECT_EQ(event.eventState, kFault);
  EXPECT_EQ(event.spare, 0u);
}

TEST_F(ActiveEventsTest, Replace_what_was_queued) {
  Queue(1);
  platform().proxy.HasActive(11, 0, kAlarm);
  mgr->GetDeviceActiveAlarms(1);
  EXPECT_THAT(Queued(), ElementsAre(11u));
}

TEST_F(ActiveEventsTest, Without_a_proxy_leave_the_queue_as_it_was) {
  Queue(1);
  mgr->SetPldProxy(nullptr);
  mgr->GetDeviceActiveAlarms(1);
  EXPECT_THAT(Queued(), ElementsAre(1u));
  EXPECT_THAT(Log(), ElementsAre("3 GetDeviceActiveAlarms: NULL pldproxy"));
}

TEST_F(ActiveEventsTest, A_failed_query_is_told_and_leaves_the_queue_empty) {
  Queue(1);
  platform().proxy.HasActive(11, 0, kAlarm);
  platform().proxy.activeEventsStatus = -7;
  mgr->GetDeviceActiveAlarms(5);
  EXPECT_THAT(Queued(), IsEmpty());
  EXPECT_THAT(Log(), ElementsAre("3 GetDeviceActiveAlarms: Could not get active events for managed "
                                 "device: 5; status: -7"));
}

TEST_F(ActiveEventsTest, A_failed_answer_is_silent) {
  Queue(1);
  platform().proxy.HasActive(11, 0, kAlarm);
  platform().proxy.activeEventsCallbackStatus = 9;
  mgr->GetDeviceActiveAlarms(1);
  EXPECT_THAT(Queued(), IsEmpty());
  EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(ActiveEventsTest, Are_not_waited_for) {
  Queue(1);
  platform().proxy.HasActive(11, 0, kAlarm);
  platform().proxy.activeEventsAnswered = false;
  mgr->GetDeviceActiveAlarms(1);
  EXPECT_THAT(Queued(), IsEmpty());
  EXPECT_THAT(platform().sleeps.microseconds, IsEmpty());
}

TEST_F(ActiveEventsTest, Nothing_active_empties_the_queue) {
  Queue(1);
  mgr->GetDeviceActiveAlarms(1);
  EXPECT_THAT(Queued(), IsEmpty());
  EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(ActiveEventsTest, Clearing_empties_the_queue) {
  Queue(1);
  Queue(2);
  mgr->ClearDeviceActiveAlarms();
  EXPECT_FALSE(mgr->HasEvents());
  EXPECT_THAT(Log(), IsEmpty());
  EXPECT_TRUE(EventQueueIsFree());
}

TEST_F(ActiveEventsTest, Clearing_a_queue_that_cannot_be_locked_leaves_it) {
  Queue(1);
  platform().mutexes.lockStatusOf[EventMutex()] = 7;
  mgr->ClearDeviceActiveAlarms();
  EXPECT_THAT(Queued(), ElementsAre(1u));
  EXPECT_THAT(Log(), ElementsAre("3 ClearDeviceActiveAlarms: Failed to lock event list"));
  EXPECT_EQ(platform().mutexes.Held(), 0);
}

TEST_F(ActiveEventsTest, Are_asked_for_although_the_queue_cannot_be_locked) {
  Queue(1);
  platform().proxy.HasActive(11, 0, kAlarm);
  platform().mutexes.lockStatusOf[EventMutex()] = 7;
  mgr->GetDeviceActiveAlarms(1);
  EXPECT_THAT(Queued(), ElementsAre(1u));
  EXPECT_THAT(Log(), ElementsAre("3 ClearDeviceActiveAlarms: Failed to lock event list",
                                 "7 AddDeviceEvent: adding event from pld engine: 0:11",
                                 "3 AddDeviceEvent: Failed to lock event mutex (7)"));
}

}  // namespace
}  // namespace cloudclient
