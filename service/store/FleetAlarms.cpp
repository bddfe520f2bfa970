// SPDX-License-Identifier: Apache-2.0
// The order of the fleet's list of alarms.
#include "service/store/FleetAlarms.h"

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

namespace cloudservice {

namespace {

constexpr std::int64_t kRanks = std::tuple_size_v<AlarmCounts>;

// Whether the first place stands before the second.
bool IsBefore(const AlarmPlace& one, const AlarmPlace& other) {
  // What is compared the other way round changes sides.
  return std::tie(one.rank, other.time, one.name.kind, other.name.id) <
         std::tie(other.rank, one.time, other.name.kind, one.name.id);
}

// The stretch of this kind behind the place, where what it holds may have the place's rank.
AlarmStretch Behind(const std::optional<AlarmPlace>& place, AlarmName::Kind kind) {
  AlarmStretch stretch = {kind, {}};
  if (!place) return stretch;
  stretch.time = place->time;
  // Of the place's own time all of a later kind follow, and none of an earlier one.
  if (kind == place->name.kind) stretch.id = place->name.id;
  if (kind < place->name.kind) stretch.id = std::numeric_limits<std::int64_t>::min();
  return stretch;
}

std::optional<std::int64_t> RankOf(const std::optional<Severity>& severity) {
  if (!severity) return std::nullopt;
  return static_cast<std::int64_t>(*severity);
}

std::vector<FleetAlarm> Joined(std::vector<FleetAlarm> one, std::vector<FleetAlarm> other) {
  std::vector<FleetAlarm> all;
  all.reserve(one.size() + other.size());
  std::merge(std::make_move_iterator(one.begin()), std::make_move_iterator(one.end()),
             std::make_move_iterator(other.begin()), std::make_move_iterator(other.end()),
             std::back_inserter(all), [](const FleetAlarm& first, const FleetAlarm& second) {
               return IsBefore(PlaceOf(first), PlaceOf(second));
             });
  return all;
}

}  // namespace

AlarmPlace PlaceOf(const FleetAlarm& alarm) {
  if (alarm.closed) return {0, *alarm.closed, alarm.name};
  return {static_cast<std::int64_t>(alarm.severity), alarm.opened, alarm.name};
}

std::vector<FleetAlarm> ListByStretches(
    const AlarmFilter& filter,
    const std::function<std::vector<FleetAlarm>(const AlarmStretch& stretch)>& list) {
  const auto part = [&](AlarmName::Kind kind, std::optional<std::int64_t> rank, bool fromPlace) {
    if (filter.kind && *filter.kind != kind) return std::vector<FleetAlarm>();
    AlarmStretch stretch = Behind(fromPlace ? filter.after : std::nullopt, kind);
    stretch.rank = rank;
    return list(stretch);
  };
  const auto both = [&](std::optional<std::int64_t> rank, bool fromPlace) {
    return Joined(part(AlarmName::Kind::kAlarm, rank, fromPlace),
                  part(AlarmName::Kind::kSilence, rank, fromPlace));
  };
  const auto most = static_cast<std::size_t>(filter.limit);
  const std::optional<std::int64_t> only = RankOf(filter.severity);
  std::vector<FleetAlarm> all;
  if (!filter.open) all = both(only, true);
  const std::int64_t first = filter.after ? filter.after->rank : 0;
  for (std::int64_t rank = first; filter.open && rank < kRanks && all.size() < most; ++rank) {
    if (only.value_or(rank) != rank) continue;
    std::vector<FleetAlarm> next = both(rank, filter.after && filter.after->rank == rank);
    std::move(next.begin(), next.end(), std::back_inserter(all));
  }
  if (all.size() > most) all.resize(most);
  return all;
}

}  // namespace cloudservice
