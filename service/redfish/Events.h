// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_EVENTS_H_
#define SERVICE_REDFISH_EVENTS_H_

#include <utility>

#include "service/redfish/Call.h"
#include "service/redfish/Quota.h"
#include "service/util/Clock.h"

namespace cloudservice {

// The operations on events of appliances, which open, change and close alarms.
class Events {
 public:
  Events(Clock clock, const Quota& quota) : m_clock(std::move(clock)), m_quota(quota) {}

  void AddTo(Routes& routes) const;

 private:
  struct Added {
    EventRecord event;
    Answer answer;
  };

  Answer Post(const Call& call, Transaction& store) const;
  Added Add(const Call& call, Transaction& store) const;

  Clock m_clock;
  Quota m_quota;
};

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_EVENTS_H_
