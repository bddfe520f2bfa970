// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_MODBUS_MODBUS_H_
#define HOST_DEVICE_SOURCES_MODBUS_MODBUS_H_

#include <memory>
#include <string>
#include <vector>

#include "host/device/sources/SourceModule.h"

namespace host {

// Modbus over TCP or a serial line: a connection is a host or a line with all units behind it, a
// point one or two registers, a bit or a coil of a unit.
class ModbusModule : public SourceModule {
 public:
  std::vector<JsonKey> ConnectionKeys() const override;
  std::vector<JsonKey> PointKeys() const override;
  std::unique_ptr<SourceConnection> Open(const std::string& settings, const SourceLimits& limits,
                                         SettingFaults& faults) const override;
};

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_MODBUS_MODBUS_H_
