// SPDX-License-Identifier: Apache-2.0
// The daily alarm's callbacks.
#include <stdexcept>

#include "CoreTest.h"
#include "device/DeviceMgrState.h"

namespace device_core {

using cloudclient::DeviceMgr;
using cloudclient::g_todAlarmId;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr time_t kFifthOfMarch2025 = 1741132801;  // 2025-03-05T00:00:01Z

class TimeOfDayTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    platform.timer.nextId = 12;
    Start();
    platform.clock.now = kFifthOfMarch2025;
  }
};

TEST_F(TimeOfDayTest, Expiry_says_so_and_arms_the_next_alarm) {
  platform.timer.Expire(12);
  EXPECT_THAT(Lines(), ElementsAre("5 TimeOfDayAlarmCB: TOD Alarm(alarmid: 12) Expired 03/05/2025 "
                                   "00:00:01",
                                   "5 TimeOfDayAlarmCB: Started tod alarm(alarmid: 13)"));
  ASSERT_THAT(platform.timer.armed, SizeIs(2));
  const fakes::Timer::Alarm& next = platform.timer.armed[1];
  EXPECT_EQ(next.when.tm_year, 125);
  EXPECT_EQ(next.when.tm_mon, 2);
  EXPECT_EQ(next.when.tm_mday, 6);
  EXPECT_EQ(next.when.tm_hour, 0);
  EXPECT_EQ(next.when.tm_min, 0);
  EXPECT_EQ(next.when.tm_sec, 1);
  EXPECT_EQ(next.expired, &DeviceMgr::TimeOfDayAlarmCB);
  EXPECT_EQ(next.cancelled, &DeviceMgr::TimeOfDayCancelCB);
  EXPECT_EQ(next.context, nullptr);
  EXPECT_EQ(g_todAlarmId, 13);
  EXPECT_THAT(platform.timer.cancels, IsEmpty());
}

TEST_F(TimeOfDayTest, Expiry_shows_local_time) {
  fakes::SetTimeZone("CET-1");
  platform.clock.now -= 3600;
  platform.timer.Expire(12);
  EXPECT_EQ(Lines()[0], "5 TimeOfDayAlarmCB: TOD Alarm(alarmid: 12) Expired 03/05/2025 00:00:01");
}

TEST_F(TimeOfDayTest, Expiry_shows_each_field_with_its_digits) {
  platform.clock.now = 1798675199;  // 2026-12-30T23:59:59Z
  platform.timer.Expire(12);
  EXPECT_EQ(Lines()[0], "5 TimeOfDayAlarmCB: TOD Alarm(alarmid: 12) Expired 12/30/2026 23:59:59");
}

TEST_F(TimeOfDayTest, Expiry_shows_the_identifier_that_it_was_given) {
  DeviceMgr::TimeOfDayAlarmCB(65534, this);
  EXPECT_EQ(Lines()[0],
            "5 TimeOfDayAlarmCB: TOD Alarm(alarmid: 65534) Expired 03/05/2025 00:00:01");
}

TEST_F(TimeOfDayTest, Expiry_opens_the_day_seeds_it_and_requests_the_synchronisation) {
  patch().onCall = [&] {
    EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
    EXPECT_THAT(platform.timer.armed, SizeIs(2));  // the next alarm comes before the new day
  };
  platform.timer.Expire(12);
  EXPECT_THAT(patch().calls,
              ElementsAre("NewDayAccumulators()", "NewDaySyncHumAccumulator(0, https, proxy)",
                          "NewDaySyncTempAccumulator(0, https, proxy)"));
  EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(TimeOfDayTest, Expiry_goes_on_when_a_step_of_the_new_day_throws) {
  patch().onCall = [] { throw std::runtime_error("step"); };
  EXPECT_NO_THROW(platform.timer.Expire(12));
  EXPECT_THAT(patch().calls, SizeIs(3));
  EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(TimeOfDayTest, Expiry_arms_and_opens_the_day_also_after_a_stop) {
  platform.timer.armed[0].cancelled = [](unsigned short, void*) {};  // too late for this alarm
  mgr->Stop();
  patch().calls.clear();
  DeviceMgr::TimeOfDayAlarmCB(12, nullptr);
  EXPECT_THAT(platform.timer.armed, SizeIs(2));
  EXPECT_THAT(patch().calls, SizeIs(3));
  EXPECT_TRUE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(TimeOfDayTest, Expiry_that_cannot_arm_does_nothing_else) {
  platform.timer.knowsTomorrow = false;
  platform.timer.Expire(12);
  EXPECT_THAT(Lines(), ElementsAre("5 TimeOfDayAlarmCB: TOD Alarm(alarmid: 12) Expired 03/05/2025 "
                                   "00:00:01",
                                   "3 TimeOfDayAlarmCB: Failed to compute tomorrow"));
  EXPECT_THAT(patch().calls, IsEmpty());
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
  EXPECT_THAT(platform.timer.waiting, IsEmpty());
  EXPECT_EQ(g_todAlarmId, 12);
}

TEST_F(TimeOfDayTest, Expiry_is_served_by_the_next_pass_of_the_poster) {
  service.answers("GET", "/redfish/v1/Oem/Quorvan:Events?*", 200, "[]");
  inPass[2] = [&] {
    platform.timer.Expire(12);
    patch().calls.clear();
  };
  RunStartedPoster(2);
  EXPECT_THAT(patch().calls,
              ElementsAre(std::string("SendAllResourcesToCloud(0, 17, ") + kUuid + ", https)"));
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(TimeOfDayTest, Every_expiry_arms_one_alarm) {
  for (unsigned short id = 12; id < 20; ++id) {
    platform.timer.Expire(id);
    EXPECT_THAT(platform.timer.waiting, SizeIs(1));
  }
  EXPECT_EQ(g_todAlarmId, 20);
  mgr->Stop();
  EXPECT_THAT(platform.timer.cancels, ElementsAre(20));
}

TEST_F(TimeOfDayTest, Cancellation_while_running_arms_again_without_a_new_day) {
  platform.timer.Cancel(12);
  EXPECT_THAT(Lines(), ElementsAre("5 TimeOfDayCancelCB: TOD Alarm(alarmid: 12) Cancelled "
                                   "now(03/05/2025 00:00:01)",
                                   "5 TimeOfDayCancelCB: Started tod alarm(alarmid: 13)"));
  EXPECT_EQ(g_todAlarmId, 13);
  ASSERT_THAT(platform.timer.waiting, SizeIs(1));
  EXPECT_EQ(platform.timer.waiting[0].when.tm_mday, 6);
  EXPECT_EQ(platform.timer.waiting[0].when.tm_hour, 0);
  EXPECT_EQ(platform.timer.waiting[0].when.tm_min, 0);
  EXPECT_EQ(platform.timer.waiting[0].when.tm_sec, 1);
  EXPECT_THAT(patch().calls, IsEmpty());
  EXPECT_FALSE(DeviceMgr::IsAlarmSyncRequested());
}

TEST_F(TimeOfDayTest, Cancellation_while_running_says_when_it_cannot_arm) {
  platform.timer.knowsTomorrow = false;
  platform.timer.Cancel(12);
  EXPECT_THAT(Lines(), ElementsAre("5 TimeOfDayCancelCB: TOD Alarm(alarmid: 12) Cancelled "
                                   "now(03/05/2025 00:00:01)",
                                   "3 TimeOfDayCancelCB: Failed to compute tomorrow"));
  EXPECT_EQ(g_todAlarmId, 12);
}

TEST_F(TimeOfDayTest, Cancellation_while_not_running_only_says_so) {
  mgr->Stop();
  EXPECT_THAT(Lines(), ElementsAre("5 TimeOfDayCancelCB: TOD Alarm(alarmid: 12) Cancelled "
                                   "now(03/05/2025 00:00:01)"));
  EXPECT_THAT(platform.timer.waiting, IsEmpty());
  EXPECT_EQ(g_todAlarmId, 12);
  EXPECT_THAT(patch().calls, IsEmpty());
}

TEST_F(TimeOfDayTest, Cancellation_shows_each_field_with_its_digits) {
  platform.clock.now = 1798675199;
  DeviceMgr::TimeOfDayCancelCB(65534, this);
  EXPECT_EQ(Lines()[0],
            "5 TimeOfDayCancelCB: TOD Alarm(alarmid: 65534) Cancelled now(12/30/2026 23:59:59)");
}

TEST_F(TimeOfDayTest, The_alarm_expires_at_one_second_past_midnight_of_local_time) {
  fakes::SetTimeZone("CET-1CEST,M3.5.0,M10.5.0/3");
  platform.clock.now = 1743202800;  // 2025-03-29T00:00:00+0100, a day before clocks change
  platform.timer.Cancel(12);
  struct tm when = platform.timer.waiting.at(0).when;
  EXPECT_EQ(mktime(&when), 1743289201);  // 2025-03-30T00:00:01+0100
}

}  // namespace device_core
