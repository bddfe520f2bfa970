// SPDX-License-Identifier: Apache-2.0
// The times of an open loop's requests.
#include "Schedule.h"

#include <algorithm>

namespace fleet {

namespace {

// Made from the turn, not from the time before it, so that errors do not add up.
std::chrono::nanoseconds TimeOf(std::int64_t turn, std::size_t series, std::size_t count,
                                double rate) {
  const double phase = (static_cast<double>(series) + 0.5) / static_cast<double>(count);
  const std::chrono::duration<double> time((static_cast<double>(turn) + phase) / rate);
  return std::chrono::duration_cast<std::chrono::nanoseconds>(time);
}

}  // namespace

Schedule::Schedule(const std::vector<double>& rates) : m_rates(rates) {
  for (std::size_t i = 0; i < rates.size(); ++i) {
    if (rates[i] > 0) m_next.push_back({TimeOf(0, i, rates.size(), rates[i]), i, 0});
  }
}

std::optional<Schedule::Due> Schedule::Next() {
  if (m_next.empty()) return std::nullopt;
  const auto first = std::min_element(m_next.begin(), m_next.end(),
                                      [](const Due& a, const Due& b) { return a.at < b.at; });
  const Due due = *first;
  ++first->turn;
  first->at = TimeOf(first->turn, first->series, m_rates.size(), m_rates[first->series]);
  return due;
}

}  // namespace fleet
