// SPDX-License-Identifier: Apache-2.0
#include "service/redfish/Body.h"
#include "service/redfish/Refusal.h"
#include "service/redfish/Service.h"

namespace cloudservice {

namespace {

constexpr std::int64_t kMaxInterval = 366 * 24 * 3600;

std::int64_t CheckedInterval(const Json& document) {
  const auto found = document.find("HeartbeatInterval");
  if (found == document.end()) throw Missing("HeartbeatInterval");
  // A number above the signed range is unsigned for the parser and stays out of range here.
  const bool whole = found->is_number_integer();
  if (!whole || *found < 1 || *found > kMaxInterval) {
    throw WrongType("HeartbeatInterval", *found,
                    "\"HeartbeatInterval\" is no whole number of seconds from 1 to " +
                        std::to_string(kMaxInterval) + ".");
  }
  return found->get<std::int64_t>();
}

}  // namespace

// The next one is due an interval after the last; from twice the interval after that on, the
// appliance counts as offline.
bool RedfishService::IsOverdue(const Heartbeat& heartbeat) const {
  if (!heartbeat.last || !heartbeat.interval) return false;
  const std::int64_t due = *heartbeat.last + *heartbeat.interval;
  return m_clock() >= due + 2 * *heartbeat.interval;
}

Json RedfishService::HeartbeatView(const Heartbeat& heartbeat) const {
  Json view = {{"Count", heartbeat.count},
               {"Last", nullptr},
               {"IntervalSeconds", nullptr},
               {"Overdue", IsOverdue(heartbeat)}};
  if (heartbeat.last) view["Last"] = RedfishTime(*heartbeat.last);
  if (heartbeat.interval) view["IntervalSeconds"] = *heartbeat.interval;
  return view;
}

Response RedfishService::TakeHeartbeat(const Call& call) {
  RequireOwn(call, call.names.at(0));
  const Json document = ParseBody(call.request.body);
  OptionalString(document, "HeartbeatDestination");
  Heartbeat heartbeat;
  heartbeat.last = m_clock();
  heartbeat.interval = CheckedInterval(document);
  heartbeat.count = m_store.AddHeartbeat(call.owner->uuid, *heartbeat.last, *heartbeat.interval,
                                         call.request.peer);
  m_log.Line("heartbeat " + std::to_string(heartbeat.count) + " from " + Named(*call.owner));
  return JsonResponse(200, HeartbeatView(heartbeat));
}

}  // namespace cloudservice
