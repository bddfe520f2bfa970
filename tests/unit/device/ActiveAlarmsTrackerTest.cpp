// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>

#include "device/DeviceActiveAlarmsMgr.h"
#include "fakes/PlatformTest.h"

namespace cloudclient {
namespace {

using testing::IsEmpty;

static_assert(std::has_virtual_destructor<DeviceActiveAlarmsMgr>::value, "it may be derived from");

class TrackerTest : public fakes::PlatformTest {
 protected:
  static CloudAlarm Alarm(uint32_t eventId, int32_t instance, const std::string& state) {
    CloudAlarm alarm;
    alarm.SetEventId(eventId, instance);
    alarm.SetState(state);
    return alarm;
  }

  void Add(uint32_t velId, const CloudAlarm& alarm) {
    tracker.AddActiveAlarm(velId, alarm.GetMessageId(), alarm);
  }

  // What is stored under both keys: its severity, or "none".
  std::string Get(uint32_t velId, const std::string& messageId) const {
    CloudAlarm alarm;
    alarm.SetState("as it was");
    const int32_t found = tracker.GetActiveAlarm(velId, messageId, alarm);
    if (found == 1) return alarm.GetSeverity();
    EXPECT_EQ(found, 0);
    EXPECT_EQ(alarm.GetSeverity(), "as it was");
    return "none";
  }

  // The key under which an event is found, or "none".
  std::string Find(uint32_t velId, uint32_t eventId) const {
    std::string key = "as it was";
    CloudAlarm alarm;
    alarm.SetState("as it was");
    const int32_t found = tracker.FindActiveAlarmByEventId(velId, eventId, key, alarm);
    if (found == 1) {
      EXPECT_EQ(alarm.GetEventId(), eventId);
      return key;
    }
    EXPECT_EQ(found, 0);
    EXPECT_EQ(key, "as it was");
    EXPECT_EQ(alarm.GetSeverity(), "as it was");
    return "none";
  }

  void TearDown() override { EXPECT_THAT(fakes::platform().log.Lines(), IsEmpty()); }

  DeviceActiveAlarmsMgr tracker;
};

TEST_F(TrackerTest, Starts_empty) {
  EXPECT_EQ(Get(0, "Zarvel.GDD.10"), "none");
  EXPECT_EQ(Find(0, 10), "none");
}

TEST_F(TrackerTest, Stores_a_copy_of_every_field) {
  CloudAlarm alarm = Alarm(10, 2, "Cleared");
  fakes::platform().clock.now += 60;
  alarm.SetState("Alarm");
  alarm.SetMessage("[3] Fan failed");
  alarm.SetAlarmKey(5);
  alarm.SetMessageArg(2);
  alarm.SetCloudRef("ref");
  Add(5, alarm);
  alarm = CloudAlarm();

  CloudAlarm got;
  CloudAlarm found;
  std::string key;
  ASSERT_EQ(tracker.GetActiveAlarm(5, "Zarvel.GDD.10:2", got), 1);
  ASSERT_EQ(tracker.FindActiveAlarmByEventId(5, 10, key, found), 1);
  EXPECT_EQ(key, "Zarvel.GDD.10:2");
  for (const CloudAlarm& stored : {got, found}) {
    EXPECT_EQ(stored.GetEventId(), 10u);
    EXPECT_EQ(stored.GetMessageId(), "Zarvel.GDD.10:2");
    EXPECT_EQ(stored.GetMessage(), "[3] Fan failed");
    EXPECT_EQ(stored.GetSeverity(), "Alarm");
    EXPECT_EQ(stored.GetAlarmKey(), 5);
    EXPECT_EQ(stored.GetMessageArg(), 2);
    EXPECT_EQ(stored.GetCreated(), "2026-03-05T13:08:09+0000");
    EXPECT_EQ(stored.GetClearedTime(), "2026-03-05T13:07:09+0000");
    EXPECT_EQ(stored.GetCloudRef(), "ref");
  }
}

TEST_F(TrackerTest, Adding_again_overwrites_every_field) {
  CloudAlarm first = Alarm(10, -1, "Alarm");
  first.SetMessage("first");
  first.SetAlarmKey(5);
  first.SetMessageArg(7);
  first.SetCloudRef("ref");
  tracker.AddActiveAlarm(5, "key", first);
  tracker.AddActiveAlarm(5, "key", CloudAlarm());

  CloudAlarm stored = first;
  ASSERT_EQ(tracker.GetActiveAlarm(5, "key", stored), 1);
  EXPECT_EQ(stored.GetEventId(), 0u);
  EXPECT_EQ(stored.GetMessageId(), "");
  EXPECT_EQ(stored.GetMessage(), "");
  EXPECT_EQ(stored.GetSeverity(), "Cleared");
  EXPECT_EQ(stored.GetAlarmKey(), -1);
  EXPECT_EQ(stored.GetMessageArg(), 0);
  EXPECT_EQ(stored.GetCreated(), "");
  EXPECT_EQ(stored.GetCloudRef(), "");
  EXPECT_EQ(Find(5, 10), "none");
  EXPECT_EQ(Find(5, 0), "key");
}

TEST_F(TrackerTest, Keeps_devices_apart) {
  Add(1, Alarm(10, -1, "Alarm"));
  Add(4294967295, Alarm(10, -1, "Fault"));
  EXPECT_EQ(Get(1, "Zarvel.GDD.10"), "Alarm");
  EXPECT_EQ(Get(4294967295, "Zarvel.GDD.10"), "Fault");
  EXPECT_EQ(Get(0, "Zarvel.GDD.10"), "none");
  EXPECT_EQ(Find(0, 10), "none");
  tracker.RemoveActiveAlarm(1, "Zarvel.GDD.10");
  EXPECT_EQ(Get(1, "Zarvel.GDD.10"), "none");
  EXPECT_EQ(Get(4294967295, "Zarvel.GDD.10"), "Fault");
}

TEST_F(TrackerTest, Has_an_entry_for_each_module_of_a_point) {
  Add(0, Alarm(10, 0, "Alarm"));
  Add(0, Alarm(10, 1, "Warning"));
  EXPECT_EQ(Get(0, "Zarvel.GDD.10:0"), "Alarm");
  EXPECT_EQ(Get(0, "Zarvel.GDD.10:1"), "Warning");
  EXPECT_EQ(Get(0, "Zarvel.GDD.10"), "none");
}

TEST_F(TrackerTest, Finds_by_event_number_what_sorts_first_as_text) {
  Add(0, Alarm(10, 2, "Alarm"));
  Add(0, Alarm(10, 11, "Alarm"));
  Add(0, Alarm(9, -1, "Alarm"));
  EXPECT_EQ(Find(0, 10), "Zarvel.GDD.10:11");
  Add(0, Alarm(10, 1, "Alarm"));
  EXPECT_EQ(Find(0, 10), "Zarvel.GDD.10:1");
  tracker.RemoveActiveAlarm(0, "Zarvel.GDD.10:1");
  tracker.RemoveActiveAlarm(0, "Zarvel.GDD.10:11");
  EXPECT_EQ(Find(0, 10), "Zarvel.GDD.10:2");
  EXPECT_EQ(Find(0, 9), "Zarvel.GDD.9");
  EXPECT_EQ(Find(0, 1), "none");
}

TEST_F(TrackerTest, Finds_by_the_stored_number_and_answers_the_key) {
  tracker.AddActiveAlarm(0, "another key", Alarm(10, -1, "Alarm"));
  EXPECT_EQ(Find(0, 10), "another key");
  EXPECT_EQ(Get(0, "Zarvel.GDD.10"), "none");
}

TEST_F(TrackerTest, Forgets_one_entry) {
  Add(0, Alarm(10, 0, "Alarm"));
  Add(0, Alarm(10, 1, "Alarm"));
  tracker.RemoveActiveAlarm(0, "Zarvel.GDD.10:0");
  EXPECT_EQ(Get(0, "Zarvel.GDD.10:0"), "none");
  EXPECT_EQ(Get(0, "Zarvel.GDD.10:1"), "Alarm");
}

TEST_F(TrackerTest, Forgetting_what_is_not_there_does_nothing) {
  tracker.RemoveActiveAlarm(0, "Zarvel.GDD.10");
  Add(0, Alarm(10, -1, "Alarm"));
  tracker.RemoveActiveAlarm(0, "Zarvel.GDD.1");
  tracker.RemoveActiveAlarm(0, "");
  tracker.RemoveActiveAlarm(1, "Zarvel.GDD.10");
  EXPECT_EQ(Get(0, "Zarvel.GDD.10"), "Alarm");
}

TEST_F(TrackerTest, Goes_on_with_a_device_whose_last_alarm_went) {
  Add(0, Alarm(10, -1, "Alarm"));
  tracker.RemoveActiveAlarm(0, "Zarvel.GDD.10");
  EXPECT_EQ(Find(0, 10), "none");
  EXPECT_EQ(Get(0, "Zarvel.GDD.10"), "none");
  Add(0, Alarm(10, -1, "Fault"));
  EXPECT_EQ(Find(0, 10), "Zarvel.GDD.10");
  EXPECT_EQ(Get(0, "Zarvel.GDD.10"), "Fault");
}

TEST_F(TrackerTest, Takes_no_lock) {
  Add(0, Alarm(10, -1, "Alarm"));
  EXPECT_EQ(Find(0, 10), "Zarvel.GDD.10");
  EXPECT_EQ(Get(0, "Zarvel.GDD.10"), "Alarm");
  tracker.RemoveActiveAlarm(0, "Zarvel.GDD.10");
  EXPECT_EQ(fakes::platform().mutexes.locks, 0);
}

}  // namespace
}  // namespace cloudclient
