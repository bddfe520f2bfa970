// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_REDFISH_REDFISH_H_
#define HOST_DEVICE_SOURCES_REDFISH_REDFISH_H_

#include <memory>
#include <string>
#include <vector>

#include "host/device/sources/JsonPointer.h"
#include "host/device/sources/SourceModule.h"

namespace host {

// Controllers of machines that speak Redfish: a connection is a controller, a point a place in one
// of its resources, each of which is fetched once a reading.
class RedfishModule : public SourceModule {
 public:
  std::vector<JsonKey> ConnectionKeys() const override;
  std::vector<JsonKey> PointKeys() const override;
  std::unique_ptr<SourceConnection> Open(const std::string& settings, const SourceLimits& limits,
                                         SettingFaults& faults) const override;
  Problem FindOffer(const OfferRequest& request, SettingFaults& faults,
                    Offer& offer) const override;
};

// A point of a resource.
struct ResourcePoint {
  size_t point = 0;
  JsonPointer pointer;
};

// Tells points what a resource's answer, with status 200, holds for them.
void TellResource(const std::string& answer, const std::vector<ResourcePoint>& points,
                  SourceSink& sink);

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_REDFISH_REDFISH_H_
