// SPDX-License-Identifier: Apache-2.0
// Alarms for a time of day, and the thread that waits for them.
#include "platform/util/LxTimerMgr.h"

#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <thread>

#include "host/util/ExceptionText.h"
#include "host/util/Fd.h"
#include "host/util/LocalTime.h"
#include "host/util/Log.h"
#include "host/util/Mutex.h"
#include "host/util/QuietThread.h"
#include "host/util/TimerCore.h"
#include "host/util/WakeUp.h"

namespace {

constexpr unsigned short kNoAlarm = 65535;
// The coarse clock of time() is behind the timer's by up to a tick: a little later it has begun
// the second that was waited for.
constexpr long kWithinSecondNs = 10000000;

constexpr int kRetryMs = 60000;

}  // namespace

struct LxTimerMgr::Impl {
  host::Mutex mutex;
  host::TimerCore core GUARDED_BY(mutex);
  bool ending GUARDED_BY(mutex) = false;
  host::Fd timer =
      host::Needed(timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK), "timerfd");
  host::WakeUp wake;
  std::thread thread GUARDED_BY(mutex);
  bool isSet = false;  // the timer, as far as its thread knows

  void Run();
  bool RunDue();
  void SetTimer();
  void Sleep() const;
};

void LxTimerMgr::Impl::Run() {
  while (RunDue()) {
    SetTimer();
    Sleep();
  }
}

// Runs the callbacks of what is due; false when the timer ends.
bool LxTimerMgr::Impl::RunDue() {
  for (;;) {
    host::TimerCore::Ended ended = {};
    {
      const host::MutexLock guard(mutex);
      if (ending) return false;
      if (!core.TakeDue(time(nullptr), ended)) return true;
    }
    try {
      if (ended.callback != nullptr) ended.callback(ended.id, ended.context);
    } catch (...) {
      HOST_LOG(3, "the timer goes on after alarm %d: %s", int{ended.id}, host::ExceptionText());
    }
  }
}

void LxTimerMgr::Impl::SetTimer() {
  struct itimerspec when = {};
  {
    const host::MutexLock guard(mutex);
    time_t look = 0;
    if (core.NextLook(time(nullptr), look)) {
      when.it_value.tv_sec = look;
      when.it_value.tv_nsec = kWithinSecondNs;
    }
  }
  // A clock that was set meanwhile is told by an error, and the timer set nevertheless.
  isSet = timerfd_settime(timer.Get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &when,
                          nullptr) == 0 ||
          errno == ECANCELED;
  if (!isSet) HOST_LOG(3, "the timer is not set, tried again in a minute: %s", strerror(errno));
}

// Until the timer's time, a clock that was set, or a wake-up.
void LxTimerMgr::Impl::Sleep() const {
  struct pollfd fds[] = {{timer.Get(), POLLIN, 0}, {wake.Get(), POLLIN, 0}};
  poll(fds, 2, isSet ? -1 : kRetryMs);
  uint64_t expirations = 0;
  while (read(timer.Get(), &expirations, sizeof(expirations)) > 0) {
  }
  wake.Take();
}

LxTimerMgr::LxTimerMgr() : m_impl(new Impl) {}

LxTimerMgr::~LxTimerMgr() {
  {
    const host::MutexLock guard(m_impl->mutex);
    m_impl->ending = true;
  }
  m_impl->wake.Give();
  if (m_impl->thread.joinable()) m_impl->thread.join();
  delete m_impl;
}

void LxTimerMgr::activate() {
  const host::MutexLock guard(m_impl->mutex);
  if (m_impl->thread.joinable()) return;
  m_impl->thread = host::StartQuietThread([this] { m_impl->Run(); });
}

bool LxTimerMgr::ComputeTomorrow(struct tm* tomorrow) {
  return tomorrow != nullptr && host::TomorrowOf(time(nullptr), *tomorrow);
}

unsigned short LxTimerMgr::CreateLocalTODAlarm(struct tm* when, Callback expired,
                                               Callback cancelled, void* context) {
  host::TimerCore::Alarm alarm;
  alarm.created = time(nullptr);
  time_t due = 0;
  if (when == nullptr || !host::LocalTimeAt(*when, alarm.created, due) ||
      !host::LocalTimeOf(alarm.created, alarm.createdOn)) {
    HOST_LOG(3, "an alarm was not armed: its time cannot be represented");
    return kNoAlarm;
  }
  alarm.when = *when;
  alarm.expired = expired;
  alarm.cancelled = cancelled;
  alarm.context = context;
  unsigned short id = kNoAlarm;
  {
    const host::MutexLock guard(m_impl->mutex);
    id = m_impl->core.Add(alarm);
  }
  m_impl->wake.Give();
  return id;
}

void LxTimerMgr::CancelTimer(unsigned short alarmId) {
  host::TimerCore::Alarm alarm;
  {
    const host::MutexLock guard(m_impl->mutex);
    if (!m_impl->core.Take(alarmId, alarm)) return;
  }
  if (alarm.cancelled != nullptr) alarm.cancelled(alarmId, alarm.context);
}
