// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_SNMP_WALK_H_
#define HOST_DEVICE_SOURCES_SNMP_WALK_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "host/device/sources/SourceModule.h"
#include "host/device/sources/snmp/Library.h"
#include "host/device/sources/snmp/Oid.h"

namespace host {

// What lies below an identifier.
using SnmpTree = std::map<Oid, SnmpValue>;

// Sends a request to an agent and waits for the answer.
using SnmpAsk = std::function<Problem(PduRef request, PduRef& answer)>;

struct WalkLimits {
  size_t most = 0;      // objects
  int64_t untilMs = 0;  // of MonotonicMs()
};

// Reads all that an agent has below `begin`, with as few requests as its answers fit into. `isCut`
// when there is more than the limits allow. A problem when it does not answer, answers an error, or
// does not go forward.
Problem WalkTree(const SnmpAsk& ask, const Oid& begin, const WalkLimits& limits, SnmpTree& tree,
                 bool& isCut);

// Whether `oid` is `begin` or below it.
bool IsBelow(const Oid& oid, const Oid& begin);

// The numbers among the objects below `begin`, each a point.
std::vector<OfferedPoint> PointsOfTree(const SnmpTree& tree, const Oid& begin);

// The table of sensors that an agent has by ENTITY-SENSOR-MIB, and the names of its parts by
// ENTITY-MIB.
extern const Oid kSensorTable;
extern const Oid kPartNames;
extern const Oid kPartDescriptions;

// The sensors of these tables, with their units and scales. `names` holds both kinds of names.
std::vector<OfferedPoint> PointsOfSensors(const SnmpTree& sensors, const SnmpTree& names);

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_SNMP_WALK_H_
