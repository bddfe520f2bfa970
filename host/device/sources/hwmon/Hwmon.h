// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_HWMON_HWMON_H_
#define HOST_DEVICE_SOURCES_HWMON_HWMON_H_

#include <memory>
#include <string>
#include <vector>

#include "host/device/sources/SourceModule.h"

namespace host {

// Sensors of the machine's monitoring chips: a connection is a chip, a point a sensor of it.
class HwmonModule : public SourceModule {
 public:
  std::vector<JsonKey> ConnectionKeys() const override;
  std::vector<JsonKey> PointKeys() const override;
  std::unique_ptr<SourceConnection> Open(const std::string& settings, const SourceLimits& limits,
                                         SettingFaults& faults) const override;
  Problem FindOffer(const OfferRequest& request, SettingFaults& faults,
                    Offer& offer) const override;
};

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_HWMON_HWMON_H_
