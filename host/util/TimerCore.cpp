// SPDX-License-Identifier: Apache-2.0
// Which alarm is due, and which was armed for another day.
#include "host/util/TimerCore.h"

#include <algorithm>
#include <tuple>

#include "host/util/LocalTime.h"

namespace host {
namespace {

constexpr unsigned short kLastId = 65534;
constexpr unsigned short kNoId = 65535;
constexpr time_t kLongestWait = 60;

bool IsDateBefore(const struct tm& one, const struct tm& other) {
  return std::tie(one.tm_year, one.tm_yday) < std::tie(other.tm_year, other.tm_yday);
}

// When the alarm is reached, by the zone that the machine has now.
bool Due(const TimerCore::Alarm& alarm, time_t& due) {
  return LocalTimeAt(alarm.when, alarm.created, due);
}

// Whether the clock was set back, or the zone changed, to a date before the one on which the alarm
// was armed. A zone that repeats an hour around midnight shows the date before as well.
bool WasTurnedBack(const TimerCore::Alarm& alarm, time_t now, const struct tm& today) {
  if (!IsDateBefore(today, alarm.createdOn)) return false;
  struct tm created = {};
  return now < alarm.created || !LocalTimeOf(alarm.created, created) ||
         IsDateBefore(created, alarm.createdOn);
}

}  // namespace

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
  if (!LocalTimeOf(now, today)) return false;
  auto first = m_alarms.end();
  time_t firstDue = 0;
  for (auto it = m_alarms.begin(); it != m_alarms.end(); ++it) {
    time_t due = 0;
    if (!Due(it->second, due)) continue;
    const bool over = due <= now || WasTurnedBack(it->second, now, today);
    if (!over || (first != m_alarms.end() && due >= firstDue)) continue;
    first = it;
    firstDue = due;
  }
  if (first == m_alarms.end()) return false;
  const Alarm& alarm = first->second;
  ended = {first->first, firstDue <= now ? alarm.expired : alarm.cancelled, alarm.context};
  m_alarms.erase(first);
  return true;
}

bool TimerCore::NextLook(time_t now, time_t& when) const {
  if (m_alarms.empty()) return false;
  when = now + kLongestWait;
  for (const auto& entry : m_alarms) {
    time_t due = 0;
    if (Due(entry.second, due)) when = std::min(when, due);
  }
  return true;
}

}  // namespace host
