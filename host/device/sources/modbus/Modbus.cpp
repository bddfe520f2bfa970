// SPDX-License-Identifier: Apache-2.0
// A host or a line of the device's file, and its points.
#include "host/device/sources/modbus/Modbus.h"

#include <utility>

#include "host/device/sources/Settings.h"
#include "host/device/sources/modbus/Bus.h"

namespace host {
namespace {

constexpr uint16_t kModbusPort = 502;

// Units of a line, and the one by which a host is meant itself.
bool IsUnit(int64_t unit) { return (unit >= 1 && unit <= 247) || unit == 255; }

class Bus : public SourceConnection {
 public:
  Bus(NetAddress address, SerialLine line, const SourceLimits& limits)
      : m_bus(std::move(address), std::move(line), limits) {}

  void AddPoint(size_t point, const std::string& settings, SettingFaults& faults) override {
    const Settings its(settings);
    ModbusPoint added;
    added.point = point;
    added.unit = static_cast<int>(its.Integer("UnitId", 1));
    if (!IsUnit(added.unit)) faults.push_back({"UnitId", "is neither from 1 to 247 nor 255"});
    const auto table = ParseTable(its.Holds("Table") ? its.Text("Table") : "holding");
    if (!table) faults.push_back({"Table", "is none of holding, input, coil, discrete"});
    const auto format = ParseFormat(its.Holds("Format") ? its.Text("Format") : "uint16");
    if (!format) faults.push_back({"Format", "is none of uint16, int16, uint32, int32, float32"});
    if (!its.Holds("Register")) faults.push_back({"Register", "is missing"});
    added.table = table.value_or(ModbusTable::kHolding);
    added.format = format.value_or(ModbusFormat::kUint16);
    added.address = static_cast<int>(its.Integer("Register", 0));
    added.bit = static_cast<int>(its.Integer("Bit", -1));
    const std::string order = its.Text("WordOrder");
    added.lowWordFirst = order == "little";
    if (its.Holds("WordOrder") && order != "little" && order != "big") {
      faults.push_back({"WordOrder", "is neither big nor little"});
    }
    CheckBits(its, added, faults);
    if (faults.empty()) m_bus.Add(added);
  }

  Problem Read(SourceSink& sink) override { return m_bus.Read(sink); }

 private:
  static void CheckBits(const Settings& settings, const ModbusPoint& point, SettingFaults& faults) {
    const bool hasFormat = settings.Holds("Format");
    if (HoldsBits(point.table) && (hasFormat || point.bit >= 0)) {
      faults.push_back({hasFormat ? "Format" : "Bit", "goes with registers alone"});
    }
    if (point.bit >= 0 && hasFormat) faults.push_back({"Bit", "stands beside a \"Format\""});
    if (point.address + point.Count() > UINT16_MAX + 1) {
      faults.push_back({"Register", "has no second register behind it"});
    }
  }

  ModbusBus m_bus;
};

// What the settings say of a serial line.
SerialLine LineOf(const Settings& settings, SettingFaults& faults) {
  SerialLine line;
  line.device = settings.Text("Device");
  if (!line.device.empty() && line.device.front() != '/') {
    faults.push_back({"Device", "is not an absolute path"});
  }
  line.baud = static_cast<int>(settings.Integer("Baud", line.baud));
  line.stopBits = static_cast<int>(settings.Integer("StopBits", line.stopBits));
  const std::string parity = settings.Holds("Parity") ? settings.Text("Parity") : "even";
  if (parity != "none" && parity != "even" && parity != "odd") {
    faults.push_back({"Parity", "is none of none, even, odd"});
  }
  line.parity = parity == "none" ? 'N' : parity == "odd" ? 'O' : 'E';
  return line;
}

}  // namespace

std::vector<JsonKey> ModbusModule::ConnectionKeys() const {
  using Type = JsonKey::Type;
  return {{"Address", Type::kText},
          {"Device", Type::kText},
          {"Baud", Type::kInteger, 110, 4000000},
          {"Parity", Type::kText},
          {"StopBits", Type::kInteger, 1, 2},
          TimeoutKey(),
          RetriesKey()};
}

std::vector<JsonKey> ModbusModule::PointKeys() const {
  using Type = JsonKey::Type;
  return {{"UnitId", Type::kInteger, 1, 255},
          {"Table", Type::kText},
          {"Register", Type::kInteger, 0, UINT16_MAX},
          {"Format", Type::kText},
          {"WordOrder", Type::kText},
          {"Bit", Type::kInteger, 0, 15}};
}

std::unique_ptr<SourceConnection> ModbusModule::Open(const std::string& settings,
                                                     const SourceLimits& limits,
                                                     SettingFaults& faults) const {
  const Settings its(settings);
  const bool isSerial = its.Holds("Device");
  NetAddress address;
  if (isSerial) {
    if (its.Holds("Address")) faults.push_back({"Address", "stands beside a \"Device\""});
  } else {
    const std::string text = its.Needed("Address", faults);
    const auto parsed = ParseNetAddress(text, kModbusPort);
    if (!text.empty() && !parsed)
      faults.push_back({"Address", "is no host with or without a port"});
    address = parsed.value_or(NetAddress());
    for (const char* key : {"Baud", "Parity", "StopBits"}) {
      if (its.Holds(key)) faults.push_back({key, "goes with a \"Device\" alone"});
    }
  }
  SerialLine line = LineOf(its, faults);
  if (!faults.empty()) return nullptr;
  return std::make_unique<Bus>(std::move(address), std::move(line), limits);
}

}  // namespace host
