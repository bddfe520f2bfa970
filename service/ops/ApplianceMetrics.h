// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_OPS_APPLIANCEMETRICS_H_
#define SERVICE_OPS_APPLIANCEMETRICS_H_

#include <cstdint>

#include "service/ops/MetricsWriter.h"
#include "service/store/Store.h"

namespace cloudservice {

// Writes what is known of each appliance at the time `now`, some 450 bytes for each: who it is, its
// state, its last heartbeat, its open alarms. The fleet is read a page at a time, each as it is
// then.
void WriteAppliances(MetricsWriter& out, Store& store, std::int64_t now);

}  // namespace cloudservice

#endif  // SERVICE_OPS_APPLIANCEMETRICS_H_
