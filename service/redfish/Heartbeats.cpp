// SPDX-License-Identifier: Apache-2.0
// Taking heartbeats, and showing them in a manager's document.
#include "service/redfish/Heartbeats.h"

#include <utility>

#include "service/redfish/Body.h"
#include "service/redfish/Views.h"

namespace cloudservice {

namespace {

constexpr std::int64_t kMaxInterval = 366 * 24 * 3600;

std::int64_t CheckedInterval(const Json& document) {
  const auto found = document.find("HeartbeatInterval");
  if (found == document.end()) throw Missing("HeartbeatInterval");
  // The parser reads a number above the signed range as unsigned; it compares as too large here.
  const bool whole = found->is_number_integer();
  if (!whole || *found < 1 || *found > kMaxInterval) {
    throw WrongType("HeartbeatInterval", *found,
                    "\"HeartbeatInterval\" is no whole number of seconds from 1 to " +
                        std::to_string(kMaxInterval) + ".");
  }
  return found->get<std::int64_t>();
}

}  // namespace

Json HeartbeatView(const Heartbeat& heartbeat, State state) {
  Json view = {{"Count", heartbeat.count},
               {"Last", nullptr},
               {"IntervalSeconds", nullptr},
               {"Overdue", state == State::kOffline}};
  if (heartbeat.last) view["Last"] = RedfishTime(*heartbeat.last);
  if (heartbeat.interval) view["IntervalSeconds"] = *heartbeat.interval;
  return view;
}

void Heartbeats::AddTo(Routes& routes) const {
  routes.Add("POST", "/hb/*",
             {Access::kItsManager, QueryUse::kNone,
              [*this](const Call& call, Transaction& store) { return Take(call, store); }});
}

Answer Heartbeats::Take(const Call& call, Transaction& store) const {
  OptionalString(call.body, "HeartbeatDestination");
  const std::int64_t now = m_clock();
  const std::int64_t interval = CheckedInterval(call.body);
  const std::int64_t count = store.AddHeartbeat(call.owner->uuid, now, interval, call.request.peer);
  Answer answer = Found(HeartbeatView({count, now, interval}, State::kAlive));
  answer.lines = {"heartbeat " + std::to_string(count) + " from " + Named(*call.owner)};
  answer.routine = true;
  return answer;
}

}  // namespace cloudservice
