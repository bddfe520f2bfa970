// SPDX-License-Identifier: Apache-2.0
// The poster thread's way with events.
#include <stdexcept>

#include "CoreTest.h"

namespace device_core {

using cloudclient::CloudAlarm;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

class PosterEventsTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    engine.eventTexts[4711] = "Supply fan";
    engine.HasModules(4711, 1);
    engine.eventTexts[4712] = "Filter";
    engine.HasModules(4712, 2);
  }

  // Log lines without those of adding to the queue and of the stop.
  static std::vector<std::string> PosterLines(int level = 7) {
    std::vector<std::string> lines;
    for (const std::string& line : Lines(level)) {
      const bool other = line.find(" AddDeviceEvent: ") != std::string::npos ||
                         line.find(" TimeOfDayCancelCB: ") != std::string::npos;
      if (!other) lines.push_back(line);
    }
    return lines;
  }

  bool IsTracked(const std::string& messageId, uint32_t velId = 0) {
    CloudAlarm alarm;
    return mgr->GetActiveAlarmsMgr().GetActiveAlarm(velId, messageId, alarm) != 0;
  }

  std::vector<std::string> Posted() const { return Documents("POST", kEventsPath); }
};

TEST_F(PosterEventsTest, A_new_event_is_posted_below_the_chassis_of_its_device) {
  inPass[1] = [&] { Raise(4711); };
  RunPoster(1);
  const std::string document =
      "{ \"MessageId\": \"Zarvel.GDD.4711\",\"Severity\": \"Alarm\","
      "\"MessageArgs\": [\"Unit1\",\"System\",\"0\", null],\"Message\": \"Supply fan.\","
      "\"OriginOfCondition\": {\"@odata.id\": \"/redfish/v1/Chassis/17\"}, "
      "\"Created\": \"2026-03-05T13:07:09+0000\"}";
  EXPECT_THAT(Posted(), ElementsAre(document));
  EXPECT_THAT(PosterLines(), ElementsAre("7 CloudPoster: has events",
                                         "7 CloudPoster: Posting alarm for 4711  state Alarm",
                                         "7 PostEventForAlarmToCloud: url(https://cloud.example" +
                                             std::string(kEventsPath) + ")",
                                         "7 PostEventForAlarmToCloud: doc(" + document + ")"));
  EXPECT_TRUE(IsTracked("Zarvel.GDD.4711"));
  EXPECT_FALSE(mgr->HasEvents());
}

TEST_F(PosterEventsTest, All_of_a_pass_are_posted_in_the_order_of_the_queue) {
  inPass[1] = [&] {
    Raise(4712, 1);
    Raise(4711);
    Raise(4712, 0);
  };
  RunPoster(1);
  EXPECT_THAT(Posted(),
              ElementsAre(HasSubstr("GDD.4712:1\""), HasSubstr("4711\""), HasSubstr("4712:0\"")));
}

TEST_F(PosterEventsTest, The_first_chassis_of_a_device_stays) {
  platform.cloud.chassis = {{"a", 0}, {"b", 0}};
  inPass[1] = [&] { Raise(4711); };
  RunPoster(1);
  EXPECT_THAT(Posted(), ElementsAre(HasSubstr("/redfish/v1/Chassis/a\"")));
}

TEST_F(PosterEventsTest, Each_device_has_its_chassis) {
  platform.cloud.chassis = {{"a", 3}, {"b", 0}, {"c", -1}};
  inPass[1] = [&] {
    Raise(4711, 0, 3, 3);
    Raise(4711, 0, 3, 0);
    Raise(4711, 0, 3, 0xFFFFFFFF);  // instances are signed in the configuration
  };
  RunPoster(1);
  EXPECT_THAT(Posted(), ElementsAre(HasSubstr("Chassis/a\""), HasSubstr("Chassis/b\""),
                                    HasSubstr("Chassis/c\"")));
}

TEST_F(PosterEventsTest, A_chassis_without_a_device_is_that_of_device_0) {
  platform.cloud.chassis = {{"a", 4}, {"b", std::nullopt}};
  inPass[1] = [&] { Raise(4711); };
  RunPoster(1);
  EXPECT_THAT(Posted(), ElementsAre(HasSubstr("Chassis/b\"")));
}

TEST_F(PosterEventsTest, A_cleared_alarm_is_no_longer_tracked_for_its_device) {
  platform.cloud.chassis = {{"17", 0}, {"18", 7}};
  inPass[1] = [&] {
    Raise(4711);
    Raise(4711, 0, 3, 7);
  };
  inPass[2] = [&] { Raise(4711, 0, 0, 7); };
  RunPoster(2);
  EXPECT_TRUE(IsTracked("Zarvel.GDD.4711", 0));
  EXPECT_FALSE(IsTracked("Zarvel.GDD.4711", 7));
}

TEST_F(PosterEventsTest, Of_a_device_without_a_chassis_is_dropped_and_the_others_are_not) {
  inPass[1] = [&] {
    Raise(4711, 0, 3, 4294967290u);
    Raise(4712);
  };
  RunPoster(2);
  EXPECT_THAT(PosterLines(4),
              ElementsAre("3 CloudPoster: Failed to find chassis instance for velid: 4294967290"));
  EXPECT_THAT(Posted(), ElementsAre(HasSubstr("GDD.4712")));
}

TEST_F(PosterEventsTest, Of_a_device_configured_after_the_start_is_dropped) {
  inPass[1] = [&] {
    platform.cloud.chassis["18"] = 7;
    Raise(4711, 0, 3, 7);
  };
  RunPoster(1);
  EXPECT_THAT(PosterLines(), ElementsAre("7 CloudPoster: has events",
                                         "3 CloudPoster: Failed to find chassis instance for "
                                         "velid: 7"));
  EXPECT_THAT(Posted(), IsEmpty());
}

TEST_F(PosterEventsTest, A_restart_knows_the_chassis_configured_since) {
  RunPoster(1);
  platform.cloud.chassis["18"] = 7;
  Raise(4711, 0, 3, 7);
  Start();
  platform.sleeps.hook = [&](uint64_t microseconds) {
    if (microseconds == kPass) mgr->Stop();
  };
  platform.threads.Run(2);
  EXPECT_THAT(Posted(), ElementsAre(HasSubstr("Chassis/18\"")));
}

TEST_F(PosterEventsTest, A_state_known_already_is_not_posted) {
  inPass[1] = [&] { Raise(4711); };
  inPass[2] = [&] {
    platform.log.records.clear();
    Raise(4711);
  };
  RunPoster(2);
  EXPECT_THAT(Posted(), SizeIs(1));
  EXPECT_THAT(PosterLines(), ElementsAre("7 CloudPoster: has events"));
}

TEST_F(PosterEventsTest, A_state_is_known_only_with_the_same_bytes) {
  platform.stateTexts[5] = "Alar";
  platform.stateTexts[6] = "alarm";
  inPass[1] = [&] { Raise(4711, 0, 3); };
  inPass[2] = [&] { Raise(4711, 0, 5); };
  inPass[3] = [&] { Raise(4711, 0, 3); };
  inPass[4] = [&] { Raise(4711, 0, 6); };
  RunPoster(4);
  EXPECT_THAT(Posted(), SizeIs(4));
}

TEST_F(PosterEventsTest, Another_state_is_posted_with_the_identity_that_is_tracked) {
  inPass[1] = [&] { Raise(4711); };
  inPass[2] = [&] {
    platform.log.records.clear();
    platform.clock.now += 60;
    engine.eventTexts[4711] = "Renamed";
    Raise(4711, 0, 4);
  };
  RunPoster(2);
  ASSERT_THAT(Posted(), SizeIs(2));
  EXPECT_THAT(Posted()[1],
              AllOf(HasSubstr("\"Zarvel.GDD.4711\""), HasSubstr("\"Severity\": \"Fault\""),
                    HasSubstr("\"Supply fan.\""), HasSubstr("2026-03-05T13:08:09+0000")));
  EXPECT_EQ(PosterLines()[1], "7 CloudPoster: Posting alarm for 4711  state Fault");
  EXPECT_THAT(engine.eventTextsAsked, SizeIs(1));
}

TEST_F(PosterEventsTest, Another_module_is_built_afresh) {
  inPass[1] = [&] { Raise(4712, 0); };
  inPass[2] = [&] {
    platform.clock.now += 60;
    Raise(4712, 1, 0);
  };
  RunPoster(2);
  ASSERT_THAT(Posted(), SizeIs(2));
  EXPECT_THAT(Posted()[1],
              AllOf(HasSubstr("\"Zarvel.GDD.4712:1\""), HasSubstr("[2] Filter"),
                    HasSubstr("2026-03-05T13:08:09+0000"), HasSubstr("\"Created\": \"\"")));
  EXPECT_EQ(engine.eventTextsAsked.back().module, 1);
  EXPECT_TRUE(IsTracked("Zarvel.GDD.4712:0"));
}

TEST_F(PosterEventsTest, Of_two_modules_only_the_first_is_known) {
  inPass[1] = [&] {
    Raise(4712, 0);
    Raise(4712, 1);
  };
  inPass[2] = [&] {
    Raise(4712, 0);
    Raise(4712, 1);
  };
  RunPoster(2);
  EXPECT_THAT(Posted(),
              ElementsAre(HasSubstr("4712:0\""), HasSubstr("4712:1\""), HasSubstr("4712:1\"")));
}

TEST_F(PosterEventsTest, Of_another_device_is_not_known) {
  platform.cloud.chassis["18"] = 7;
  inPass[1] = [&] { Raise(4711, 0, 3, 0); };
  inPass[2] = [&] { Raise(4711, 0, 3, 7); };
  RunPoster(2);
  EXPECT_THAT(Posted(), SizeIs(2));
}

TEST_F(PosterEventsTest, Cleared_is_posted_and_forgotten) {
  inPass[1] = [&] { Raise(4711); };
  inPass[2] = [&] {
    platform.log.records.clear();
    EXPECT_TRUE(IsTracked("Zarvel.GDD.4711"));
    Raise(4711, 0, 0);
  };
  RunPoster(2);
  ASSERT_THAT(Posted(), SizeIs(2));
  EXPECT_THAT(Posted()[1],
              AllOf(HasSubstr("\"MessageId\": \"258\""), HasSubstr("\"Zarvel.GDD.4711\"]")));
  EXPECT_EQ(PosterLines()[1], "7 CloudPoster: Posting alarm for 4711  state Cleared");
  EXPECT_FALSE(IsTracked("Zarvel.GDD.4711"));
}

TEST_F(PosterEventsTest, Cleared_is_forgotten_even_when_the_post_is_refused) {
  inPass[1] = [&] { Raise(4711); };
  inPass[2] = [&] {
    service.answers("POST", kEventsPath, 500);
    Raise(4711, 0, 0);
  };
  RunPoster(2);
  EXPECT_FALSE(IsTracked("Zarvel.GDD.4711"));
}

TEST_F(PosterEventsTest, Cleared_is_tracked_until_it_is_posted) {
  std::vector<bool> tracked;
  fakes::curl().onPerform = [&](fakes::Transfer&) {
    tracked.push_back(IsTracked("Zarvel.GDD.4711"));
  };
  inPass[1] = [&] { Raise(4711); };
  inPass[2] = [&] { Raise(4711, 0, 0); };
  RunPoster(2);
  EXPECT_THAT(tracked, ElementsAre(false, true));
}

TEST_F(PosterEventsTest, A_state_like_cleared_stays_tracked) {
  platform.stateTexts[5] = "Clear";
  platform.stateTexts[6] = "Cleared late";
  inPass[1] = [&] { Raise(4711, 0, 5); };
  inPass[2] = [&] { EXPECT_TRUE(IsTracked("Zarvel.GDD.4711")); };
  inPass[3] = [&] { Raise(4711, 0, 6); };
  RunPoster(3);
  EXPECT_TRUE(IsTracked("Zarvel.GDD.4711"));
  EXPECT_THAT(Posted(), ElementsAre(HasSubstr("\"Severity\": \"Clear\""),
                                    HasSubstr("\"Severity\": \"Cleared late\"")));
}

TEST_F(PosterEventsTest, Numbers_of_more_than_16_bits_are_told_apart) {
  engine.HasModules(4711, 1);
  inPass[1] = [&] { Raise(4711 + 65536); };
  inPass[2] = [&] { Raise(4711); };
  RunPoster(2);
  EXPECT_THAT(Posted(), ElementsAre(HasSubstr("Zarvel.GDD.70247"), HasSubstr("Zarvel.GDD.4711\"")));
}

TEST_F(PosterEventsTest, Cleared_of_one_module_leaves_the_other_tracked) {
  inPass[1] = [&] {
    Raise(4712, 0);
    Raise(4712, 1);
  };
  inPass[2] = [&] { Raise(4712, 1, 0); };
  RunPoster(2);
  EXPECT_TRUE(IsTracked("Zarvel.GDD.4712:0"));
  EXPECT_FALSE(IsTracked("Zarvel.GDD.4712:1"));
}

TEST_F(PosterEventsTest, Of_a_platform_with_another_cleared_word_stay_tracked) {
  platform.stateTexts[0] = "Normal";
  inPass[1] = [&] { Raise(4711); };
  inPass[2] = [&] { Raise(4711, 0, 0); };
  RunPoster(2);
  EXPECT_THAT(Posted(), ElementsAre(HasSubstr("Alarm"), HasSubstr("\"Severity\": \"Normal\"")));
  EXPECT_TRUE(IsTracked("Zarvel.GDD.4711"));
}

TEST_F(PosterEventsTest, A_refused_post_is_not_tracked_and_not_repeated) {
  service.answersOnce("POST", kEventsPath, 500);
  inPass[1] = [&] { Raise(4711); };
  RunPoster(3);
  EXPECT_THAT(Posted(), SizeIs(1));
  EXPECT_FALSE(IsTracked("Zarvel.GDD.4711"));
}

TEST_F(PosterEventsTest, The_number_is_shown_signed) {
  inPass[1] = [&] { Raise(4294967295u); };
  RunPoster(1);
  EXPECT_THAT(PosterLines(), testing::Contains("7 CloudPoster: Posting alarm for -1  state Alarm"));
}

TEST_F(PosterEventsTest, Wait_for_the_next_pass_when_the_queue_cannot_be_locked) {
  inPass[1] = [&] {
    Raise(4711);
    mgr->AddDeviceCOV(Change(1201).notification);
    platform.log.records.clear();
    platform.mutexes.lockStatusOf[0] = 22;
  };
  inPass[2] = [&] {
    EXPECT_THAT(PosterLines(), ElementsAre("7 CloudPoster: has events",
                                           "3 CloudPoster: Failed to get the event list lock"));
    EXPECT_THAT(Posted(), IsEmpty());
    EXPECT_THAT(patch().covs, SizeIs(1));  // of the same pass
    platform.mutexes.lockStatusOf.clear();
  };
  RunPoster(2);
  EXPECT_THAT(Posted(), SizeIs(1));
}

TEST_F(PosterEventsTest, Are_posted_with_the_queue_unlocked) {
  int held = -1;
  fakes::curl().onPerform = [&](fakes::Transfer&) {
    held = platform.mutexes.Held();
    if (fakes::curl().transfers.size() == 1) Raise(4712);  // arrives meanwhile
  };
  inPass[1] = [&] { Raise(4711); };
  inPass[2] = [&] { EXPECT_THAT(Posted(), SizeIs(1)); };
  RunPoster(2);
  EXPECT_EQ(held, 1);  // the transport's own
  EXPECT_THAT(Posted(), ElementsAre(HasSubstr("4711"), HasSubstr("4712")));
}

TEST_F(PosterEventsTest, What_posting_one_throws_fails_that_one) {
  fakes::curl().onPerform = [](fakes::Transfer&) {
    if (fakes::curl().transfers.size() == 1) throw std::runtime_error("transfer");
  };
  inPass[1] = [&] {
    Raise(4711);
    Raise(4712);
  };
  RunPoster(19);
  EXPECT_THAT(Posted(), ElementsAre(HasSubstr("4712")));
  EXPECT_THAT(service.requests("POST", kHeartbeatPath), SizeIs(1));
  EXPECT_THAT(PosterLines(4),
              testing::Contains("3 CloudPoster: an operation ended early: transfer"));
}

// A synchronisation on another thread, seen from the poster: it sleeps while it holds the flag.
TEST_F(PosterEventsTest, Wait_while_alarms_are_synchronised_and_changes_do_not) {
  service.answers("GET", "/redfish/v1/Oem/Quorvan:Events?*", 200, "[]");
  Start();
  bool synchronised = false;
  platform.sleeps.hook = [&](uint64_t microseconds) {
    ASSERT_EQ(microseconds, kTwoSeconds);
    ASSERT_TRUE(mgr->IsSyncInProgress());
    synchronised = true;
    inPass[1] = [&] {
      Raise(4711);
      mgr->AddDeviceCOV(Change(1201).notification);
    };
    RunStartedPoster(2);
    EXPECT_THAT(Posted(), IsEmpty());
    EXPECT_THAT(patch().covs, SizeIs(1));
    EXPECT_TRUE(mgr->HasEvents());
    EXPECT_EQ(platform.log.Count("7 DeviceMgr CloudPoster: has events"), 0u);
  };
  mgr->SyncAlarms();
  EXPECT_TRUE(synchronised);
  EXPECT_FALSE(mgr->IsSyncInProgress());
}

}  // namespace device_core
