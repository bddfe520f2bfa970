// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <ctime>
#include <system_error>
#include <thread>

#include "HostTest.h"
#include "Scarcity.h"
#include "SystemCalls.h"
#include "platform/util/LxTimerMgr.h"

namespace {

std::atomic<int> g_expired{0};
std::atomic<int> g_cancelled{0};
std::atomic<unsigned short> g_lastId{0};
std::thread::id g_thread;

struct tm InSeconds(int seconds) {
  const time_t when = time(nullptr) + seconds;
  struct tm local = {};
  localtime_r(&when, &local);
  return local;
}

void CountExpired(unsigned short id, void* /*context*/) {
  g_lastId = id;
  g_thread = std::this_thread::get_id();
  ++g_expired;
}

void CountCancelled(unsigned short id, void* /*context*/) {
  g_lastId = id;
  g_thread = std::this_thread::get_id();
  ++g_cancelled;
}

// Arms the next alarm, three times.
void Rearm(unsigned short /*id*/, void* context) {
  auto* timer = static_cast<LxTimerMgr*>(context);
  if (g_expired < 3) {
    struct tm now = InSeconds(0);
    timer->CreateLocalTODAlarm(&now, &Rearm, &CountCancelled, context);
    struct tm later = InSeconds(3600);
    timer->CancelTimer(timer->CreateLocalTODAlarm(&later, &Rearm, &CountCancelled, context));
  }
  ++g_expired;
}

class LxTimerMgrTest : public HostTest {
 protected:
  unsigned short Create(int seconds) {
    struct tm when = InSeconds(seconds);
    return m_timer->CreateLocalTODAlarm(&when, &CountExpired, &CountCancelled, nullptr);
  }

  std::unique_ptr<LxTimerMgr> m_timer = std::make_unique<LxTimerMgr>();
};

}  // namespace

TEST_F(LxTimerMgrTest, Time_that_was_reached_expires_on_the_timers_thread) {
  m_timer->activate();
  m_timer->activate();
  const unsigned short id = Create(0);
  EXPECT_GE(id, 1);
  EXPECT_LE(id, 65534);
  ASSERT_TRUE(Await([] { return g_expired == 1; }));
  EXPECT_EQ(g_lastId, id);
  m_timer.reset();
  EXPECT_NE(g_thread, std::this_thread::get_id());
  EXPECT_EQ(g_cancelled, 0);
}

TEST_F(LxTimerMgrTest, Alarm_armed_before_activation_expires_after_it) {
  Create(0);
  EXPECT_EQ(g_expired, 0);
  m_timer->activate();
  EXPECT_TRUE(Await([] { return g_expired == 1; }));
}

TEST_F(LxTimerMgrTest, Cancel_callback_runs_before_the_cancel_returns_on_its_thread) {
  m_timer->activate();
  const unsigned short id = Create(3600);
  m_timer->CancelTimer(id);
  EXPECT_EQ(g_cancelled, 1);
  EXPECT_EQ(g_lastId, id);
  EXPECT_EQ(g_thread, std::this_thread::get_id());
  m_timer->CancelTimer(id);
  EXPECT_EQ(g_cancelled, 1);
}

TEST_F(LxTimerMgrTest, Identifiers_that_name_none_are_ignored) {
  m_timer->CancelTimer(0);
  m_timer->CancelTimer(1);
  m_timer->CancelTimer(65535);
  EXPECT_EQ(g_cancelled, 0);
}

TEST_F(LxTimerMgrTest, Callbacks_may_create_and_cancel_alarms) {
  m_timer->activate();
  struct tm now = InSeconds(0);
  m_timer->CreateLocalTODAlarm(&now, &Rearm, &CountCancelled, m_timer.get());
  EXPECT_TRUE(Await([] { return g_expired == 4; }));
  EXPECT_EQ(g_cancelled, 3);
}

TEST_F(LxTimerMgrTest, No_callback_comes_after_the_destructor) {
  m_timer->activate();
  Create(3600);
  Create(1);
  m_timer.reset();
  const int expired = g_expired;
  EXPECT_EQ(g_cancelled, 0);
  EXPECT_LE(expired, 1);
  EXPECT_EQ(g_expired, expired);
}

TEST_F(LxTimerMgrTest, Destructor_waits_for_a_running_callback) {
  struct State {
    std::atomic<bool> entered{false};
    std::atomic<bool> leave{false};
    std::atomic<bool> left{false};
  } state;
  m_timer->activate();
  struct tm now = InSeconds(0);
  m_timer->CreateLocalTODAlarm(
      &now,
      [](unsigned short /*id*/, void* context) {
        auto* shared = static_cast<State*>(context);
        shared->entered = true;
        EXPECT_TRUE(Await([shared] { return shared->leave.load(); }));
        shared->left = true;
      },
      nullptr, &state);
  ASSERT_TRUE(Await([&] { return state.entered.load(); }));
  std::thread release([&] { state.leave = true; });
  m_timer.reset();
  EXPECT_TRUE(state.left);
  release.join();
}

TEST_F(LxTimerMgrTest, Timer_that_was_never_activated_ends) {
  Create(0);
  m_timer.reset();
  EXPECT_EQ(g_expired, 0);
}

TEST_F(LxTimerMgrTest, Exception_of_a_callback_does_not_end_the_timer) {
  m_timer->activate();
  struct tm now = InSeconds(0);
  m_timer->CreateLocalTODAlarm(
      &now, [](unsigned short /*id*/, void* /*context*/) { throw std::runtime_error("oops"); },
      nullptr, nullptr);
  m_timer->CreateLocalTODAlarm(
      &now, [](unsigned short /*id*/, void* /*context*/) { throw 7; }, nullptr, nullptr);
  Create(0);
  EXPECT_TRUE(Await([] { return g_expired == 1; }));
  EXPECT_EQ(LogCount("the timer goes on after alarm 1: oops"), 1);
  EXPECT_EQ(LogCount("the timer goes on after alarm 2: an exception without a text"), 1);
}

TEST_F(LxTimerMgrTest, Timer_that_can_not_be_set_is_set_again_within_a_minute) {
  std::atomic<bool> fails{true};
  std::atomic<int> timeoutMs{0};
  g_timerSet = [&] { return fails ? ENOMEM : 0; };
  g_poll = [&](int its) { timeoutMs = its; };
  Create(3600);
  m_timer->activate();
  AwaitLog("the timer is not set, tried again in a minute: Cannot allocate memory");
  ASSERT_TRUE(Await([&] { return timeoutMs == 60000; }));
  fails = false;
  Create(0);  // wakes it before the minute is over
  EXPECT_TRUE(Await([] { return g_expired == 1; }));
  ASSERT_TRUE(Await([&] { return timeoutMs == -1; }));
  m_timer.reset();
}

TEST_F(LxTimerMgrTest, Thread_that_cannot_be_started_may_be_started_later) {
  {
    const NoThreads none;
    EXPECT_THROW(m_timer->activate(), std::system_error);
  }
  Create(0);
  m_timer->activate();
  EXPECT_TRUE(Await([] { return g_expired == 1; }));
}

TEST_F(LxTimerMgrTest, Time_that_cannot_be_represented_is_not_armed) {
  struct tm when = {};
  when.tm_year = INT32_MAX;
  when.tm_mon = INT32_MAX;
  EXPECT_EQ(m_timer->CreateLocalTODAlarm(&when, &CountExpired, &CountCancelled, nullptr), 65535);
  EXPECT_EQ(m_timer->CreateLocalTODAlarm(nullptr, &CountExpired, &CountCancelled, nullptr), 65535);
  EXPECT_EQ(LogCount("an alarm was not armed: its time cannot be represented"), 2);
}

TEST_F(LxTimerMgrTest, Tomorrow_follows_today) {
  // The date may turn while this runs: today is asked before and after.
  const struct tm before = InSeconds(0);
  struct tm tomorrow = {};
  ASSERT_TRUE(m_timer->ComputeTomorrow(&tomorrow));
  const struct tm after = InSeconds(0);
  EXPECT_EQ(tomorrow.tm_isdst, -1);
  const auto follows = [&](struct tm day) {
    day.tm_mday += 1;
    day.tm_hour = 12;
    day.tm_isdst = -1;
    mktime(&day);
    return day.tm_mday == tomorrow.tm_mday && day.tm_mon == tomorrow.tm_mon;
  };
  EXPECT_TRUE(follows(before) || follows(after));
  EXPECT_FALSE(m_timer->ComputeTomorrow(nullptr));
}
