#include "host/TimerCore.h"

#include <algorithm>
#include <cstdint>
#include <tuple>

namespace host {
namespace {

constexpr unsigned short kLastId = 65534;
constexpr unsigned short kNoId = 65535;
constexpr time_t kLongestWait = 60;

// Seconds of a broken-down time as if every day had 24 hours: tells how far two of them differ.
int64_t Flat(const struct tm& when) {
  struct tm copy = when;
  return int64_t{timegm(&copy)};
}

bool IsDateBefore(const struct tm& one, const struct tm& other) {
  return std::tie(one.tm_year, one.tm_yday) < std::tie(other.tm_year, other.tm_yday);
}

bool Convert(struct tm when, time_t& time) {
  when.tm_isdst = -1;
  when.tm_wday = -1;  // stays only when it fails: -1 is a time as well
  const time_t converted = mktime(&when);
  if (when.tm_wday < 0) return false;
  time = converted;
  return true;
}

}  // namespace

bool LocalTimeAt(const struct tm& when, time_t& time) {
  time_t converted = 0;
  struct tm local = {};
  if (!Convert(when, converted) || localtime_r(&converted, &local) == nullptr) return false;
  // Where the zone skips the time, mktime may answer one that lies before the gap.
  const int64_t short_by = Flat(when) - Flat(local);
  time = converted + static_cast<time_t>(std::max<int64_t>(short_by, 0));
  return true;
}

bool TomorrowOf(time_t now, struct tm& tomorrow) {
  struct tm local = {};
  if (localtime_r(&now, &local) == nullptr) return false;
  // Noon exists on every date.
  local.tm_mday += 1;
  local.tm_hour = 12;
  local.tm_min = 0;
  local.tm_sec = 0;
  time_t noon = 0;
  if (!Convert(local, noon) || localtime_r(&noon, &local) == nullptr) return false;
  local.tm_isdst = -1;
  tomorrow = local;
  return true;
}

unsigned short TimerCore::Add(const Alarm& alarm) {
  if (m_alarms.size() >= kLastId) return kNoId;
  do {
    m_lastId = m_lastId == kLastId ? 1 : static_cast<unsigned short>(m_lastId + 1);
  } while (m_alarms.count(m_lastId) != 0);
  m_alarms[m_lastId] = alarm;
  return m_lastId;
}

bool TimerCore::Take(unsigned short id, Alarm& alarm) {
  const auto found = m_alarms.find(id);
  if (found == m_alarms.end()) return false;
  alarm = found->second;
  m_alarms.erase(found);
  return true;
}

bool TimerCore::TakeDue(time_t now, Ended& ended) {
  struct tm today = {};
  if (localtime_r(&now, &today) == nullptr) return false;
  auto first = m_alarms.end();
  for (auto it = m_alarms.begin(); it != m_alarms.end(); ++it) {
    const bool over = it->second.due <= now || IsDateBefore(today, it->second.created);
    if (over && (first == m_alarms.end() || it->second.due < first->second.due)) first = it;
  }
  if (first == m_alarms.end()) return false;
  const Alarm& alarm = first->second;
  ended = {first->first, alarm.due <= now ? alarm.expired : alarm.cancelled, alarm.context};
  m_alarms.erase(first);
  return true;
}

bool TimerCore::NextLook(time_t now, time_t& when) const {
  if (m_alarms.empty()) return false;
  when = now + kLongestWait;
  for (const auto& entry : m_alarms) when = std::min(when, entry.second.due);
  return true;
}

}  // namespace host
