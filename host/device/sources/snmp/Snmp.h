// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_SNMP_SNMP_H_
#define HOST_DEVICE_SOURCES_SNMP_SNMP_H_

#include <memory>
#include <string>
#include <vector>

#include "host/device/sources/SourceModule.h"

namespace host {

// Agents of SNMP: a connection is an agent, a point an object of it; or a connection is a listener,
// and notifications raise and clear events.
class SnmpModule : public SourceModule {
 public:
  std::vector<JsonKey> ConnectionKeys() const override;
  std::vector<JsonKey> PointKeys() const override;
  std::vector<JsonKey> EventKeys() const override;
  std::unique_ptr<SourceConnection> Open(const std::string& settings, const SourceLimits& limits,
                                         SettingFaults& faults) const override;
  Problem FindOffer(const OfferRequest& request, SettingFaults& faults,
                    Offer& offer) const override;
};

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_SNMP_SNMP_H_
