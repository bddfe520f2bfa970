// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_RESOURCES_H_
#define SERVICE_REDFISH_RESOURCES_H_

#include <utility>

#include "service/redfish/Call.h"
#include "service/redfish/Quota.h"
#include "service/util/Clock.h"

namespace cloudservice {

// The operations on documents below chassis and managers, at any path that an appliance chooses.
class Resources {
 public:
  Resources(Clock clock, const Quota& quota) : m_clock(std::move(clock)), m_quota(quota) {}

  void AddTo(Routes& routes) const;

 private:
  Answer Patch(const Call& call, Transaction& store) const;

  Clock m_clock;
  Quota m_quota;
};

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_RESOURCES_H_
