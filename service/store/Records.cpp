// SPDX-License-Identifier: Apache-2.0
// What follows from records: the state of an appliance, and its place in a list.
#include "service/store/Records.h"

namespace cloudservice {

namespace {

State StateSince(std::int64_t registered, const Heartbeat& heartbeat, std::int64_t now) {
  return StateAt(now, DueTimesOf(registered, heartbeat.last, heartbeat.interval));
}

}  // namespace

State StateOf(const ApplianceRecord& appliance, std::int64_t now) {
  return StateSince(appliance.registered, appliance.heartbeat, now);
}

State StateOf(const ManagerRecord& manager, std::int64_t now) {
  return StateSince(manager.registered, manager.heartbeat, now);
}

StateCounts StatesOf(const Totals& found, const DueCounts& due) {
  const std::int64_t overdue = found.foundLate + found.foundOffline - due.foundLate + due.overdue;
  const std::int64_t offline = found.foundOffline + due.offline;
  return {found.managers - overdue, overdue - offline, offline};
}

FleetPlace PlaceOf(const ApplianceRecord& appliance, const FleetFilter& filter) {
  FleetPlace place = {{}, appliance.shown.name, appliance.uuid};
  switch (filter.sort) {
    case FleetFilter::Sort::kName:
      break;
    case FleetFilter::Sort::kState:
      place.ranks = {static_cast<std::int64_t>(StateOf(appliance, filter.now))};
      break;
    case FleetFilter::Sort::kAlarms:
      place.ranks.assign(appliance.alarms.begin(), appliance.alarms.end());
      break;
    case FleetFilter::Sort::kHeartbeat:
      place.ranks = {appliance.heartbeat.last.value_or(-1)};
      break;
    case FleetFilter::Sort::kRegistered:
      place.ranks = {appliance.registered};
      break;
  }
  return place;
}

}  // namespace cloudservice
