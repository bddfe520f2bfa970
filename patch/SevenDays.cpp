// SPDX-License-Identifier: Apache-2.0
// Highest and lowest readings of the last seven days.
#include "patch/SevenDays.h"

#include "base/LocalTime.h"

namespace cloudclient {

namespace {

constexpr time_t kSevenDays = 604800;

// Fewer records than this are all kept.
constexpr size_t kFullTable = 7;

// A later day wins a tie.
void TakeExtremes(DayAccumulator& extremes, const Quantity& quantity, const DayAccumulator& day) {
  if (day.*quantity.high >= extremes.*quantity.high) {
    extremes.*quantity.high = day.*quantity.high;
    extremes.*quantity.highText = day.*quantity.highText;
  }
  if (day.*quantity.low <= extremes.*quantity.low) {
    extremes.*quantity.low = day.*quantity.low;
    extremes.*quantity.lowText = day.*quantity.lowText;
  }
}

}  // namespace

time_t SevenDays::Today() { return LocalTimeToday(0, 0, 1); }

const SevenDays::Table& SevenDays::Records() const { return m_days; }

DayAccumulator* SevenDays::Find(time_t dayKey) {
  const auto found = m_days.find(dayKey);
  return found == m_days.end() ? nullptr : &found->second;
}

void SevenDays::BeginToday() {
  const time_t today = Today();
  m_days.emplace(today, DayAccumulator());
  const time_t cutOff = today - kSevenDays;
  for (auto day = m_days.begin(); day != m_days.end();) {
    // Kept: docs/kept-behaviour.md#seven-records
    if (day->first <= cutOff && m_days.size() >= kFullTable) {
      day = m_days.erase(day);
    } else {
      ++day;
    }
  }
}

void SevenDays::Seed(const Quantity& quantity, uint16_t value, const std::string& text) {
  // Kept: docs/kept-behaviour.md#seed-replaces
  DayAccumulator& day = m_days[Today()];
  day.*quantity.low = day.*quantity.high = value;
  day.*quantity.lowText = day.*quantity.highText = text;
}

void SevenDays::Take(DayAccumulator& day, const Quantity& quantity, uint16_t value,
                     const std::string& text) {
  if (day.*quantity.low > value) {
    day.*quantity.low = value;
    day.*quantity.lowText = text;
  }
  if (day.*quantity.high < value) {
    day.*quantity.high = value;
    day.*quantity.highText = text;
  }
}

DayAccumulator SevenDays::Extremes() const {
  // Kept: docs/kept-behaviour.md#starting-values
  DayAccumulator extremes;
  for (const Quantity* quantity : kQuantities) {
    extremes.*quantity->lowText = "";
    extremes.*quantity->highText = "";
    for (const auto& [dayKey, day] : m_days) TakeExtremes(extremes, *quantity, day);
  }
  return extremes;
}

}  // namespace cloudclient
