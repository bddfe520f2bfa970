// SPDX-License-Identifier: Apache-2.0
// What the device's file says to modules: connections and points of the keys that they have.
#include "SourceSink.h"
#include "host/device/sources/command/Command.h"
#include "host/device/sources/hwmon/Hwmon.h"
#include "host/device/sources/redfish/Redfish.h"
#ifdef FUZZ_SNMP
#include "host/device/sources/snmp/Snmp.h"
#endif
#ifdef FUZZ_MODBUS
#include "host/device/sources/modbus/Modbus.h"
#endif

namespace {

// The members that a table holds, each of the type that it asks for: the engine passes no others.
std::string Checked(const std::string& text, const std::vector<host::JsonKey>& keys) {
  const host::JsonRef object(json_loadb(text.data(), text.size(), JSON_ALLOW_NUL, nullptr));
  host::JsonRef checked(json_object());
  for (const host::JsonKey& key : keys) {
    json_t* const value = json_object_get(object.get(), key.name);
    if (value == nullptr || host::CheckJson(key, value)) continue;
    host::PutJson(checked.get(), key.name, host::JsonRef(json_incref(value)));
  }
  return host::DumpedJson(checked.get(), JSON_COMPACT);
}

const std::vector<const host::SourceModule*>& Modules() {
  static const host::HwmonModule kHwmon;
  static const host::CommandModule kCommand;
  static const host::RedfishModule kRedfish;
  static std::vector<const host::SourceModule*> modules = {&kHwmon, &kCommand, &kRedfish};
#ifdef FUZZ_SNMP
  static const host::SnmpModule kSnmp;
  if (modules.size() < 4) modules.push_back(&kSnmp);
#endif
#ifdef FUZZ_MODBUS
  static const host::ModbusModule kModbus;
  if (modules.size() < 5) modules.push_back(&kModbus);
#endif
  return modules;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const host::SourceModule& module = *Modules()[input.Choice(Modules().size())];
  host::SettingFaults faults;
  const auto connection =
      module.Open(Checked(input.Text(), module.ConnectionKeys()), {1000, 0, -1}, faults);
  fuzz::Require(connection != nullptr || !faults.empty(), "what can't be opened says why");
  if (connection == nullptr || !faults.empty()) return 0;
  connection->AddPoint(0, Checked(input.Text(), module.PointKeys()), faults);
  connection->AddEvent(0, Checked(input.Rest(), module.EventKeys()), faults);
  return 0;
}
