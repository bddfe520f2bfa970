// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_REDFISH_CHASSISOFFER_H_
#define HOST_DEVICE_SOURCES_REDFISH_CHASSISOFFER_H_

#include <functional>
#include <string>

#include "host/device/sources/SourceModule.h"
#include "host/util/Json.h"

namespace host {

// Fetches a resource; null, and no problem, where the controller has none there.
using FetchResource = std::function<Problem(const std::string& path, JsonRef& resource)>;

// The readings of a chassis of a controller, by its documents Thermal, Power and Sensors. `chassis`
// is its Id; empty for the only one. Fetches nothing after `untilMs` of MonotonicMs().
Problem FindReadings(const FetchResource& fetch, const std::string& chassis, int64_t untilMs,
                     size_t most, std::vector<OfferedPoint>& points, bool& isCut);

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_REDFISH_CHASSISOFFER_H_
