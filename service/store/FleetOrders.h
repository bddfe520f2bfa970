// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_FLEETORDERS_H_
#define SERVICE_STORE_FLEETORDERS_H_

#include <string>
#include <vector>

#include "service/store/Records.h"

namespace cloudservice {

// Names of columns.
using Columns = std::vector<std::string>;

// The names with `behind` after each, joined by commas: "a DESC, b DESC".
inline std::string Joined(const Columns& names, const std::string& behind = "") {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name + behind;
  return text;
}

// What a back end has for each order of the list of appliances. An Order is made of the columns by
// which the list is ordered, of those that order what is equal in them and always ascend, and of
// whether it descends.
template <typename Order>
class FleetOrders {
 public:
  // Names the back end's columns of the appliance's name and of the time of its last heartbeat.
  FleetOrders(const std::string& label, const std::string& heard)
      : m_byName({label}, {"uuid"}),
        m_byAlarms({"faults", "alarms", "warnings"}, {label, "uuid"}),
        m_byHeartbeat({heard}, {label, "uuid"}),
        m_byRegistration({"registered"}, {label, "uuid"}) {}

  const Order& Of(const FleetFilter& filter) const {
    const BothWays& order = Of(filter.sort);
    return filter.descending ? order.descending : order.ascending;
  }

 private:
  struct BothWays {
    BothWays(const Columns& columns, const Columns& ties)
        : ascending(columns, ties, false), descending(columns, ties, true) {}

    const Order ascending;
    const Order descending;
  };

  const BothWays& Of(FleetFilter::Sort sort) const {
    switch (sort) {
      case FleetFilter::Sort::kAlarms:
        return m_byAlarms;
      case FleetFilter::Sort::kHeartbeat:
        return m_byHeartbeat;
      case FleetFilter::Sort::kRegistered:
        return m_byRegistration;
      case FleetFilter::Sort::kName:
      case FleetFilter::Sort::kState:  // joined from lists by name
        break;
    }
    return m_byName;
  }

  const BothWays m_byName;
  const BothWays m_byAlarms;
  const BothWays m_byHeartbeat;
  const BothWays m_byRegistration;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_FLEETORDERS_H_
