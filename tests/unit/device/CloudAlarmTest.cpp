// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <string>
#include <type_traits>

#include "device/CloudAlarm.h"
#include "fakes/PlatformTest.h"

namespace cloudclient {
namespace {

constexpr char kNow[] = "2026-03-05T13:07:09+0000";
constexpr char kLater[] = "2026-03-05T13:08:09+0000";

static_assert(std::has_virtual_destructor<CloudAlarm>::value, "it may be derived from");

// Formed before any object with static storage of ordinary priority is initialised.
struct EarlyAlarm {
  EarlyAlarm() { alarm.SetEventId(1234, 2); }
  CloudAlarm alarm;
};
EarlyAlarm g_early __attribute__((init_priority(101)));

class CloudAlarmRecordTest : public fakes::PlatformTest {
 protected:
  static std::string MessageIdOf(uint32_t eventId, int32_t instance) {
    CloudAlarm alarm;
    alarm.SetEventId(eventId, instance);
    EXPECT_EQ(alarm.GetEventId(), eventId);
    return alarm.GetMessageId();
  }

  static void Fill(CloudAlarm& alarm) {
    alarm.SetEventId(1234, 2);
    alarm.SetState("Cleared");
    alarm.SetState("Alarm");
    alarm.SetMessage("Fan failed");
    alarm.SetAlarmKey(5);
    alarm.SetMessageArg(2);
    alarm.SetCreated("then");
    alarm.SetCloudRef("ref");
  }

  static void ExpectFilled(const CloudAlarm& alarm) {
    EXPECT_EQ(alarm.GetEventId(), 1234u);
    EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.1234:2");
    EXPECT_EQ(alarm.GetMessage(), "Fan failed");
    EXPECT_EQ(alarm.GetSeverity(), "Alarm");
    EXPECT_EQ(alarm.GetAlarmKey(), 5);
    EXPECT_EQ(alarm.GetMessageArg(), 2);
    EXPECT_EQ(alarm.GetCreated(), "then");
    EXPECT_EQ(alarm.GetClearedTime(), kNow);
    EXPECT_EQ(alarm.GetCloudRef(), "ref");
  }

  // Whether a state counts as cleared by the platform's text.
  static bool StampsCleared(const std::string& state) {
    CloudAlarm alarm;
    alarm.SetState(state);
    EXPECT_EQ(alarm.GetSeverity(), state);
    EXPECT_NE(alarm.GetCreated().empty(), alarm.GetClearedTime().empty()) << state;
    EXPECT_EQ(alarm.GetCreated() + alarm.GetClearedTime(), kNow) << state;
    return alarm.GetCreated().empty();
  }
};

TEST_F(CloudAlarmRecordTest, Starts_cleared_without_identity_and_times) {
  const CloudAlarm alarm;
  EXPECT_EQ(alarm.GetEventId(), 0u);
  EXPECT_EQ(alarm.GetMessageId(), "");
  EXPECT_EQ(alarm.GetMessage(), "");
  EXPECT_EQ(alarm.GetSeverity(), "Cleared");
  EXPECT_EQ(alarm.GetAlarmKey(), -1);
  EXPECT_EQ(alarm.GetMessageArg(), 0);
  EXPECT_EQ(alarm.GetCreated(), "");
  EXPECT_EQ(alarm.GetClearedTime(), "");
  EXPECT_EQ(alarm.GetCloudRef(), "");
}

TEST_F(CloudAlarmRecordTest, Identifier_is_prefix_number_and_instance) {
  EXPECT_EQ(MessageIdOf(1234, -1), "Zarvel.GDD.1234");
  EXPECT_EQ(MessageIdOf(1234, 2), "Zarvel.GDD.1234:2");
  EXPECT_EQ(MessageIdOf(7, -1), "Zarvel.GDD.7");
  EXPECT_EQ(MessageIdOf(7, 0), "Zarvel.GDD.7:0");
  EXPECT_EQ(MessageIdOf(0, INT_MIN), "Zarvel.GDD.0");
  EXPECT_EQ(MessageIdOf(UINT_MAX, INT_MAX), "Zarvel.GDD.4294967295:2147483647");
}

TEST_F(CloudAlarmRecordTest, A_second_identifier_replaces_the_first) {
  CloudAlarm alarm;
  alarm.SetEventId(1234, 2);
  alarm.SetEventId(7, -1);
  EXPECT_EQ(alarm.GetEventId(), 7u);
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.7");
}

TEST_F(CloudAlarmRecordTest, Identifier_prefix_is_there_before_any_static_object) {
  EXPECT_EQ(g_early.alarm.GetMessageId(), "Zarvel.GDD.1234:2");
}

TEST_F(CloudAlarmRecordTest, An_active_state_stamps_the_creation_alone) {
  CloudAlarm alarm;
  alarm.SetState("Alarm");
  EXPECT_EQ(alarm.GetSeverity(), "Alarm");
  EXPECT_EQ(alarm.GetCreated(), kNow);
  EXPECT_EQ(alarm.GetClearedTime(), "");
}

TEST_F(CloudAlarmRecordTest, The_cleared_state_stamps_the_clearing_and_keeps_the_creation) {
  CloudAlarm alarm;
  alarm.SetState("Alarm");
  fakes::platform().clock.now += 60;
  alarm.SetState("Cleared");
  EXPECT_EQ(alarm.GetSeverity(), "Cleared");
  EXPECT_EQ(alarm.GetCreated(), kNow);
  EXPECT_EQ(alarm.GetClearedTime(), kLater);
}

TEST_F(CloudAlarmRecordTest, Each_change_of_state_stamps_anew) {
  CloudAlarm alarm;
  alarm.SetState("Cleared");
  alarm.SetState("Warning");
  fakes::platform().clock.now += 60;
  alarm.SetState("Fault");
  EXPECT_EQ(alarm.GetCreated(), kLater);
  EXPECT_EQ(alarm.GetClearedTime(), kNow);
}

TEST_F(CloudAlarmRecordTest, Times_are_local_with_an_offset_without_colon) {
  fakes::SetTimeZone("CET-1");
  CloudAlarm alarm;
  alarm.SetState("Alarm");
  EXPECT_EQ(alarm.GetCreated(), "2026-03-05T14:07:09+0100");
  fakes::SetTimeZone("NST3:30");
  alarm.SetState("Cleared");
  EXPECT_EQ(alarm.GetClearedTime(), "2026-03-05T09:37:09-0330");
}

TEST_F(CloudAlarmRecordTest, Times_have_room_for_a_year_of_more_digits) {
  fakes::platform().clock.now = 253402300800;  // 10000-01-01T00:00:00Z
  CloudAlarm alarm;
  alarm.SetState("Alarm");
  alarm.SetState("Cleared");
  EXPECT_EQ(alarm.GetCreated(), "10000-01-01T00:00:00+0000");
  EXPECT_EQ(alarm.GetClearedTime(), "10000-01-01T00:00:00+0000");
}

TEST_F(CloudAlarmRecordTest, The_cleared_text_is_compared_by_length_and_bytes) {
  EXPECT_TRUE(StampsCleared("Cleared"));
  EXPECT_FALSE(StampsCleared("cleared"));
  EXPECT_FALSE(StampsCleared("Clear"));
  EXPECT_FALSE(StampsCleared("Cleared "));
  EXPECT_FALSE(StampsCleared(std::string("Cleared\0", 8)));
  EXPECT_FALSE(StampsCleared(""));
}

TEST_F(CloudAlarmRecordTest, The_platform_says_what_its_cleared_text_is) {
  fakes::SetClearedText("Normal");
  EXPECT_TRUE(StampsCleared("Normal"));
  EXPECT_FALSE(StampsCleared("Cleared"));
  EXPECT_EQ(CloudAlarm().GetSeverity(), "Cleared");
}

TEST_F(CloudAlarmRecordTest, Is_copied_field_by_field) {
  CloudAlarm original;
  Fill(original);
  const CloudAlarm copy(original);
  CloudAlarm assigned;
  assigned = original;
  original = CloudAlarm();
  ExpectFilled(copy);
  ExpectFilled(assigned);
}

}  // namespace
}  // namespace cloudclient
