// SPDX-License-Identifier: Apache-2.0
// Time-of-day alarms on one thread, which looks at the clock once a minute at least.
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>

#include "platform/util/LxTimerMgr.h"

namespace {

constexpr unsigned short kNoAlarm = 65535;
constexpr time_t kLongestSleep = 60;

struct Alarm {
  time_t due;
  int createdOn;
  LxTimerMgr::Callback expired;
  LxTimerMgr::Callback cancelled;
  void* context;
};

// A number that grows from date to date.
int DateOf(time_t moment) {
  struct tm local = {};
  localtime_r(&moment, &local);
  return local.tm_year * 366 + local.tm_yday;
}

int WakeDescriptor() {
  const int fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (fd < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  return fd;
}

}  // namespace

struct LxTimerMgr::Impl {
  std::mutex mutex;
  std::map<unsigned short, Alarm> alarms;
  bool ending = false;
  const int wake = WakeDescriptor();
  std::thread thread;

  ~Impl() { close(wake); }
  void Wake() const { eventfd_write(wake, 1); }
  void Run();
  bool RunDue();
  void Sleep();
};

void LxTimerMgr::Impl::Run() {
  while (RunDue()) Sleep();
}

// Runs the callbacks of what is due; false when the timer ends.
bool LxTimerMgr::Impl::RunDue() {
  for (;;) {
    std::unique_lock<std::mutex> guard(mutex);
    if (ending) return false;
    const time_t now = time(nullptr);
    const int today = DateOf(now);
    const auto found = std::find_if(alarms.begin(), alarms.end(), [&](const auto& entry) {
      return entry.second.due <= now || entry.second.createdOn > today;
    });
    if (found == alarms.end()) return true;
    const unsigned short id = found->first;
    const Alarm alarm = found->second;
    alarms.erase(found);
    guard.unlock();
    const Callback callback = alarm.due <= now ? alarm.expired : alarm.cancelled;
    if (callback != nullptr) callback(id, alarm.context);
  }
}

void LxTimerMgr::Impl::Sleep() {
  time_t seconds = kLongestSleep;
  {
    const std::lock_guard<std::mutex> guard(mutex);
    const time_t now = time(nullptr);
    for (const auto& entry : alarms) {
      seconds = std::clamp<time_t>(entry.second.due - now, 0, seconds);
    }
  }
  struct pollfd fd = {wake, POLLIN, 0};
  poll(&fd, 1, static_cast<int>(seconds * 1000));
  eventfd_t count = 0;
  eventfd_read(wake, &count);
}

LxTimerMgr::LxTimerMgr() : m_impl(new Impl) {}

LxTimerMgr::~LxTimerMgr() {
  {
    const std::lock_guard<std::mutex> guard(m_impl->mutex);
    m_impl->ending = true;
  }
  m_impl->Wake();
  if (m_impl->thread.joinable()) m_impl->thread.join();
  delete m_impl;
}

void LxTimerMgr::activate() {
  if (!m_impl->thread.joinable()) m_impl->thread = std::thread([this] { m_impl->Run(); });
}

bool LxTimerMgr::ComputeTomorrow(struct tm* tomorrow) {
  const time_t now = time(nullptr);
  if (localtime_r(&now, tomorrow) == nullptr) return false;
  ++tomorrow->tm_mday;
  tomorrow->tm_hour = 12;  // an hour that every day has
  tomorrow->tm_isdst = -1;
  if (mktime(tomorrow) == -1) return false;
  tomorrow->tm_isdst = -1;
  return true;
}

unsigned short LxTimerMgr::CreateLocalTODAlarm(struct tm* when, Callback expired,
                                               Callback cancelled, void* context) {
  struct tm local = *when;
  local.tm_isdst = -1;
  const time_t due = mktime(&local);
  if (due == -1) return kNoAlarm;
  unsigned short id = 1;
  {
    const std::lock_guard<std::mutex> guard(m_impl->mutex);
    while (m_impl->alarms.count(id) != 0) ++id;
    if (id == kNoAlarm) return kNoAlarm;
    m_impl->alarms[id] = {due, DateOf(time(nullptr)), expired, cancelled, context};
  }
  m_impl->Wake();
  return id;
}

void LxTimerMgr::CancelTimer(unsigned short alarmId) {
  Alarm alarm = {};
  {
    const std::lock_guard<std::mutex> guard(m_impl->mutex);
    const auto found = m_impl->alarms.find(alarmId);
    if (found == m_impl->alarms.end()) return;
    alarm = found->second;
    m_impl->alarms.erase(found);
  }
  if (alarm.cancelled != nullptr) alarm.cancelled(alarmId, alarm.context);
}
