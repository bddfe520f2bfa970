// SPDX-License-Identifier: Apache-2.0
// Starting and stopping the manager.
#include "CoreTest.h"
#include "device/DeviceMgrState.h"

namespace device_core {

using cloudclient::DeviceMgr;
using cloudclient::g_todAlarmId;
using testing::ElementsAre;
using testing::IsEmpty;

class StartOfManagerTest : public CoreTest {};
class StopOfManagerTest : public CoreTest {
 protected:
  pthread_t Poster() const { return platform.threads.created.at(0).handle; }
  pthread_t Checker() const { return platform.threads.created.at(1).handle; }
};

TEST_F(StartOfManagerTest, Creates_poster_then_checker_activates_the_timer_sleeps_and_arms) {
  bool slept = false;
  platform.sleeps.hook = [&](uint64_t) {
    slept = true;
    EXPECT_TRUE(mgr->IsRunning());
    EXPECT_EQ(platform.threads.created.size(), 2u);
    EXPECT_EQ(platform.timer.activations, 1);
    EXPECT_TRUE(platform.timer.armed.empty());
  };
  mgr->Start();
  EXPECT_TRUE(slept);
  EXPECT_THAT(platform.sleeps.microseconds, ElementsAre(kTwoSeconds));
  EXPECT_EQ(platform.timer.armed.size(), 1u);
  EXPECT_EQ(platform.timer.activations, 1);
  EXPECT_THAT(Lines(), ElementsAre("5 Start: Started tod alarm(alarmid: 1)"));
  EXPECT_EQ(platform.log.Count("5 DeviceMgr Start: Started tod alarm(alarmid: 1)"), 1u);
  EXPECT_EQ(platform.threads.created[0].argument, nullptr);
  EXPECT_EQ(platform.threads.created[1].argument, nullptr);
}

TEST_F(StartOfManagerTest, Is_running_before_the_first_thread) {
  platform.threads.mode = fakes::Threads::Mode::kRunInPlace;
  platform.cloud.onCall = [&](const std::string&) {
    EXPECT_TRUE(mgr->IsRunning());
    EXPECT_EQ(platform.timer.activations, 0);
  };
  platform.cloud.fails["GetUUID"] = 5;  // ends the poster
  int dispatched = 0;
  engine.onDispatchEvents = [&] {
    if (++dispatched == 2) throw fakes::Leave();
    EXPECT_EQ(platform.threads.created.size(), 2u);
    EXPECT_EQ(platform.timer.activations, 0);
  };
  platform.sleeps.hook = [&](uint64_t microseconds) {
    if (microseconds == 500000) throw fakes::Leave();
  };
  mgr->Start();
  EXPECT_EQ(dispatched, 1);
  EXPECT_THAT(Lines(), ElementsAre("3 CloudPoster: Failed to get the manager instance (5)",
                                   "5 Start: Started tod alarm(alarmid: 1)"));
}

TEST_F(StartOfManagerTest, Arms_the_alarm_for_tomorrow_at_one_second_past_midnight) {
  mgr->Start();
  ASSERT_EQ(platform.timer.armed.size(), 1u);
  const fakes::Timer::Alarm& alarm = platform.timer.armed[0];
  EXPECT_EQ(alarm.when.tm_year, 126);
  EXPECT_EQ(alarm.when.tm_mon, 2);
  EXPECT_EQ(alarm.when.tm_mday, 6);
  EXPECT_EQ(alarm.when.tm_hour, 0);
  EXPECT_EQ(alarm.when.tm_min, 0);
  EXPECT_EQ(alarm.when.tm_sec, 1);
  EXPECT_EQ(alarm.when.tm_isdst, -1);
  EXPECT_EQ(alarm.expired, &DeviceMgr::TimeOfDayAlarmCB);
  EXPECT_EQ(alarm.cancelled, &DeviceMgr::TimeOfDayCancelCB);
  EXPECT_EQ(alarm.context, nullptr);
  EXPECT_EQ(g_todAlarmId, 1);
}

TEST_F(StartOfManagerTest, Arms_nothing_when_tomorrow_is_unknown) {
  platform.timer.knowsTomorrow = false;
  mgr->Start();
  EXPECT_THAT(Lines(), ElementsAre("3 Start: Failed to compute tomorrow"));
  EXPECT_TRUE(platform.timer.armed.empty());
  EXPECT_EQ(g_todAlarmId, 65535);
  EXPECT_EQ(platform.threads.created.size(), 2u);
  EXPECT_TRUE(mgr->IsRunning());
}

TEST_F(StartOfManagerTest, Tells_an_alarm_that_was_not_armed_like_one_that_was) {
  platform.timer.nextId = 65535;
  mgr->Start();
  EXPECT_THAT(Lines(), ElementsAre("5 Start: Started tod alarm(alarmid: 65535)"));
  EXPECT_EQ(g_todAlarmId, 65535);
}

TEST_F(StartOfManagerTest, Goes_on_when_a_thread_cannot_be_created) {
  platform.threads.createStatus = 11;
  mgr->Start();
  EXPECT_EQ(platform.threads.attempts, 2u);
  EXPECT_THAT(Lines(), ElementsAre("5 Start: Started tod alarm(alarmid: 1)"));
  EXPECT_TRUE(mgr->IsRunning());
}

TEST_F(StopOfManagerTest, Before_a_start_cancels_and_joins_nothing) {
  mgr->Stop();
  EXPECT_THAT(platform.timer.cancels, IsEmpty());
  EXPECT_THAT(platform.threads.joined, IsEmpty());
  EXPECT_THAT(Lines(), IsEmpty());
  EXPECT_EQ(g_todAlarmId, 65535);
}

TEST_F(StopOfManagerTest, Clears_the_flag_cancels_the_alarm_then_joins_poster_and_checker) {
  Start();
  static const fakes::Platform& seen = platform;
  static bool cancelled = false;
  platform.timer.waiting[0].cancelled = [](unsigned short id, void*) {
    cancelled = true;
    EXPECT_EQ(id, 1);
    EXPECT_FALSE(DeviceMgr::GetInstance()->IsRunning());
    EXPECT_TRUE(seen.threads.joined.empty());
  };
  mgr->Stop();
  EXPECT_TRUE(cancelled);
  EXPECT_THAT(platform.timer.cancels, ElementsAre(1));
  EXPECT_THAT(platform.threads.joined, ElementsAre(Poster(), Checker()));
}

TEST_F(StopOfManagerTest, Leaves_no_alarm_armed) {
  Start();
  mgr->Stop();
  EXPECT_THAT(platform.timer.waiting, IsEmpty());
  EXPECT_EQ(platform.timer.armed.size(), 1u);
  EXPECT_THAT(Lines(), ElementsAre("5 TimeOfDayCancelCB: TOD Alarm(alarmid: 1) Cancelled "
                                   "now(03/05/2026 13:07:09)"));
}

TEST_F(StopOfManagerTest, Cancels_the_highest_identifier_and_not_the_one_that_means_none) {
  platform.timer.nextId = 65534;
  Start();
  mgr->Stop();
  EXPECT_THAT(platform.timer.cancels, ElementsAre(65534));
  Start();
  ASSERT_EQ(g_todAlarmId, 65535);
  mgr->Stop();
  EXPECT_THAT(platform.timer.cancels, ElementsAre(65534));
}

TEST_F(StopOfManagerTest, A_second_time_joins_nothing) {
  Start();
  mgr->Stop();
  mgr->Stop();
  EXPECT_THAT(platform.threads.joined, ElementsAre(Poster(), Checker()));
  EXPECT_THAT(platform.timer.cancels, ElementsAre(1, 1));
  EXPECT_FALSE(mgr->IsRunning());
}

TEST_F(StopOfManagerTest, After_a_restart_joins_the_new_threads) {
  Start();
  mgr->Stop();
  Start();
  EXPECT_TRUE(mgr->IsRunning());
  platform.threads.joined.clear();
  mgr->Stop();
  ASSERT_EQ(platform.threads.created.size(), 4u);
  EXPECT_THAT(platform.threads.joined,
              ElementsAre(platform.threads.created[2].handle, platform.threads.created[3].handle));
  EXPECT_THAT(platform.timer.cancels, ElementsAre(1, 2));
}

TEST_F(StopOfManagerTest, Joins_only_the_thread_that_was_created) {
  platform.threads.createStatusOf[0] = 11;
  Start();
  ASSERT_EQ(platform.threads.created.size(), 1u);
  mgr->Stop();
  EXPECT_THAT(platform.threads.joined, ElementsAre(platform.threads.created[0].handle));
}

TEST_F(StopOfManagerTest, Joins_nothing_when_no_thread_was_created) {
  platform.threads.createStatus = 11;
  Start();
  mgr->Stop();
  EXPECT_THAT(platform.threads.joined, IsEmpty());
}

TEST_F(StopOfManagerTest, A_failed_creation_keeps_the_earlier_handles) {
  Start();
  platform.threads.createStatus = 11;
  Start();
  mgr->Stop();
  EXPECT_THAT(platform.threads.joined, ElementsAre(Poster(), Checker()));
}

TEST_F(StopOfManagerTest, A_failed_creation_after_a_stop_joins_nothing_again) {
  Start();
  mgr->Stop();
  platform.threads.createStatusOf = {{2, 11}, {3, 11}};
  Start();
  platform.threads.joined.clear();
  mgr->Stop();
  EXPECT_THAT(platform.threads.joined, IsEmpty());
}

TEST_F(StopOfManagerTest, A_failed_creation_of_one_thread_keeps_that_handle_alone) {
  Start();
  mgr->Stop();
  platform.threads.createStatusOf[3] = 11;
  Start();
  platform.threads.joined.clear();
  mgr->Stop();
  EXPECT_THAT(platform.threads.joined, ElementsAre(platform.threads.created[2].handle));
}

TEST_F(StopOfManagerTest, Destruction_goes_quiet_first) {
  Start();
  delete mgr;
  EXPECT_THAT(platform.timer.cancels, ElementsAre(1));
  EXPECT_THAT(platform.timer.waiting, IsEmpty());
  EXPECT_EQ(platform.timer.armed.size(), 1u);
  EXPECT_THAT(platform.threads.joined, ElementsAre(Poster(), Checker()));
}

TEST_F(StopOfManagerTest, Destruction_after_a_stop_joins_nothing_again) {
  Start();
  mgr->Stop();
  delete mgr;
  EXPECT_THAT(platform.threads.joined, ElementsAre(Poster(), Checker()));
}

TEST_F(StopOfManagerTest, Destruction_without_a_start_does_nothing) {
  delete mgr;
  EXPECT_THAT(platform.timer.cancels, IsEmpty());
  EXPECT_THAT(platform.threads.joined, IsEmpty());
  EXPECT_THAT(Lines(), IsEmpty());
}

}  // namespace device_core
