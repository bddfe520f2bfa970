// SPDX-License-Identifier: Apache-2.0
// The numbers of events that come from another database.
#include "service/store/postgresql/EventDays.h"

#include <algorithm>
#include <iterator>

#include "service/store/postgresql/Days.h"

namespace cloudservice::postgresql {

bool EventDays::Add(std::int64_t former, std::int64_t received) {
  const std::int64_t day = std::max(DayOf(received), DayOfEvent(former));
  if (!m_days.empty()) {
    const auto& [first, latest] = *m_days.rbegin();
    if (former < first || day <= latest) return false;
  }
  m_days[former] = day;
  return true;
}

std::int64_t EventDays::NumberOf(std::int64_t former) const {
  constexpr std::int64_t kLowerHalf = (std::int64_t{1} << kEventBits) - 1;
  const auto behind = m_days.upper_bound(former);
  if (behind == m_days.begin()) return former;
  const std::int64_t day = std::max(std::prev(behind)->second, DayOfEvent(former));
  return day << kEventBits | (former & kLowerHalf);
}

}  // namespace cloudservice::postgresql
