// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_EVENTS_H_
#define SERVICE_REDFISH_EVENTS_H_

#include <utility>

#include "service/redfish/Call.h"
#include "service/util/Clock.h"

namespace cloudservice {

// The operations on events of appliances, which open, change and close alarms.
class Events {
 public:
  explicit Events(Clock clock) : m_clock(std::move(clock)) {}

  void AddTo(Routes& routes) const;

 private:
  Answer Post(const Call& call, Transaction& store) const;

  Clock m_clock;
};

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_EVENTS_H_
