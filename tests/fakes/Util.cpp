// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <thread>

#include "fakes/Platform.h"
#include "platform/util/LocalPath.h"
#include "platform/util/LxLinuxMutex.h"
#include "platform/util/LxStringUtils.h"
#include "platform/util/LxTimerMgr.h"
#include "platform/util/NetUtils.h"

std::string LocalPath(const std::string& path) {
  return path.empty() ? path : fakes::platform().root + path;
}

namespace orv_netutils {

int GetGlobalAddress(std::string& address) {
  const fakes::Network& network = fakes::platform().network;
  if (network.status == 0) address = network.address;
  return network.status;
}

}  // namespace orv_netutils

// A mutex.

struct LxLinuxMutex::Impl {
  std::mutex mutex;
  std::atomic<std::thread::id> owner{};
  int number = 0;
};

LxLinuxMutex::LxLinuxMutex() : m_impl(new Impl) {
  const fakes::RecordLock lock(fakes::RecordMutex());
  m_impl->number = fakes::platform().mutexes.made++;
}

LxLinuxMutex::~LxLinuxMutex() { delete m_impl; }

unsigned int LxLinuxMutex::Lock() {
  {
    const fakes::RecordLock lock(fakes::RecordMutex());
    const fakes::Mutexes& mutexes = fakes::platform().mutexes;
    if (mutexes.onLock) mutexes.onLock(m_impl->number);
    const auto scripted = mutexes.lockStatusOf.find(m_impl->number);
    const unsigned int status =
        scripted == mutexes.lockStatusOf.end() ? mutexes.lockStatus : scripted->second;
    if (status != 0) return status;
  }
  if (m_impl->owner == std::this_thread::get_id()) {
    fprintf(stderr, "fakes: mutex %d locked again by its holder\n", m_impl->number);
    abort();
  }
  m_impl->mutex.lock();
  m_impl->owner = std::this_thread::get_id();
  const fakes::RecordLock lock(fakes::RecordMutex());
  ++fakes::platform().mutexes.locks;
  return 0;
}

unsigned int LxLinuxMutex::Unlock() {
  if (m_impl->owner != std::this_thread::get_id()) {
    fprintf(stderr, "fakes: mutex %d unlocked by a thread that does not hold it\n", m_impl->number);
    abort();
  }
  {
    const fakes::RecordLock lock(fakes::RecordMutex());
    ++fakes::platform().mutexes.unlocks;
  }
  m_impl->owner = std::thread::id();
  m_impl->mutex.unlock();
  return 0;
}

// Texts.

namespace {

bool Convert(const std::string& text, int64_t low, int64_t high, int64_t& value) {
  const size_t start = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
  if (start == text.size()) return false;
  int64_t number = 0;
  for (size_t i = start; i < text.size(); ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    number = number * 10 + (text[i] - '0');
    if (number > -int64_t{std::numeric_limits<int32_t>::min()}) return false;
  }
  if (text[0] == '-') number = -number;
  if (number < low || number > high) return false;
  value = number;
  return true;
}

template <typename Number>
bool ConvertTo(const std::string& text, Number& value) {
  int64_t number = 0;
  if (!Convert(text, std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max(),
               number)) {
    return false;
  }
  value = static_cast<Number>(number);
  return true;
}

}  // namespace

void LxStringUtils::Split(const std::string& text, char delimiter,
                          std::vector<std::string>& pieces) {
  std::vector<std::string> split;
  size_t begin = 0;
  for (size_t end = text.find(delimiter); end != std::string::npos;
       end = text.find(delimiter, begin)) {
    split.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  split.push_back(text.substr(begin));
  pieces = split;
}

bool LxStringUtils::ConvertStringToLong(const std::string& text, int32_t& value) {
  return ConvertTo(text, value);
}

bool LxStringUtils::ConvertStringToInt16(const std::string& text, int16_t& value) {
  return ConvertTo(text, value);
}

bool LxStringUtils::IsInteger(const std::string& text) {
  int32_t value = 0;
  return ConvertTo(text, value);
}

// The timer.

namespace fakes {
namespace {

bool Take(Timer& timer, unsigned short id, Timer::Alarm& alarm) {
  const auto found =
      std::find_if(timer.waiting.begin(), timer.waiting.end(),
                   [id](const Timer::Alarm& candidate) { return candidate.id == id; });
  if (found == timer.waiting.end()) return false;
  alarm = *found;
  timer.waiting.erase(found);
  return true;
}

}  // namespace

bool Timer::Expire(unsigned short id) {
  Alarm alarm = {};
  if (!Take(*this, id, alarm)) return false;
  if (alarm.expired != nullptr) alarm.expired(id, alarm.context);
  return true;
}

bool Timer::Cancel(unsigned short id) {
  Alarm alarm = {};
  if (!Take(*this, id, alarm)) return false;
  if (alarm.cancelled != nullptr) alarm.cancelled(id, alarm.context);
  return true;
}

}  // namespace fakes

struct LxTimerMgr::Impl {};

LxTimerMgr::LxTimerMgr() : m_impl(nullptr) {}
LxTimerMgr::~LxTimerMgr() { delete m_impl; }

void LxTimerMgr::activate() { ++fakes::platform().timer.activations; }

bool LxTimerMgr::ComputeTomorrow(struct tm* tomorrow) {
  if (!fakes::platform().timer.knowsTomorrow) return false;
  const time_t now = fakes::platform().clock.now;
  struct tm day = {};
  localtime_r(&now, &day);
  day.tm_mday += 1;
  day.tm_isdst = -1;
  mktime(&day);
  day.tm_isdst = -1;
  *tomorrow = day;
  return true;
}

unsigned short LxTimerMgr::CreateLocalTODAlarm(struct tm* when, Callback expired,
                                               Callback cancelled, void* context) {
  fakes::Timer& timer = fakes::platform().timer;
  timer.armed.push_back({timer.nextId++, *when, expired, cancelled, context});
  timer.waiting.push_back(timer.armed.back());
  return timer.armed.back().id;
}

void LxTimerMgr::CancelTimer(unsigned short alarmId) {
  fakes::platform().timer.cancels.push_back(alarmId);
  fakes::platform().timer.Cancel(alarmId);
}
