// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_HEARTBEATS_H_
#define SERVICE_REDFISH_HEARTBEATS_H_

#include <cstdint>
#include <utility>

#include "service/redfish/Call.h"
#include "service/util/Clock.h"

namespace cloudservice {

// The heartbeats of a manager in this state, as its document shows them.
Json HeartbeatView(const Heartbeat& heartbeat, State state);

// The operation that takes heartbeats.
class Heartbeats {
 public:
  explicit Heartbeats(Clock clock) : m_clock(std::move(clock)) {}

  void AddTo(Routes& routes) const;

 private:
  Answer Take(const Call& call, Transaction& store) const;

  Clock m_clock;
};

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_HEARTBEATS_H_
