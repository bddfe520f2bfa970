// SPDX-License-Identifier: Apache-2.0
// Reading the sensors of a chip.
#include "host/device/sources/hwmon/Hwmon.h"

#include <cerrno>
#include <utility>

#include "host/device/sources/Settings.h"
#include "host/device/sources/hwmon/Chips.h"
#include "host/util/Files.h"
#include "host/util/Numbers.h"
#include "host/util/Trimmed.h"

namespace host {
namespace {

constexpr size_t kLargestReading = 4096;
constexpr char kMeasured[] = "input";

class Chip : public SourceConnection {
 public:
  Chip(std::string name, std::string device)
      : m_name(std::move(name)), m_device(std::move(device)) {}

  void AddPoint(size_t point, const std::string& settings, SettingFaults& faults) override {
    const Settings its(settings);
    Sensor sensor;
    sensor.point = point;
    sensor.name.label = its.Needed("Label", faults);
    sensor.name.kind = its.Text("Kind");
    sensor.name.attribute = its.Holds("Attribute") ? its.Text("Attribute") : kMeasured;
    // It becomes the end of a file's name.
    if (sensor.name.attribute.find('/') != std::string::npos) {
      faults.push_back({"Attribute", "holds a slash"});
    }
    if (faults.empty()) m_sensors.push_back(std::move(sensor));
  }

  Problem Read(SourceSink& sink) override {
    if (!m_found) {
      if (Problem problem = FindSensors()) return problem;
    }
    for (const Sensor& sensor : m_sensors) {
      double number = 0;
      Problem problem = ReadSensor(sensor, number);
      // The driver may have been loaded anew, and the chip have another number.
      if (problem.Errno() == ENOENT || problem.Errno() == ENODEV) {
        m_found = false;
        return problem;
      }
      if (problem) {
        sink.NoValue(sensor.point, problem);
      } else {
        sink.Number(sensor.point, number);
      }
    }
    return {};
  }

 private:
  struct Sensor {
    size_t point = 0;
    SensorName name;
    std::string file;
    double scale = 1;
    Problem missing;  // why there is no file
  };

  Problem FindSensors() {
    std::string folder;
    if (Problem problem = FindChip(m_name, m_device, folder)) return problem;
    SensorTable table;
    if (Problem problem = table.Read(folder)) return problem;
    for (Sensor& sensor : m_sensors) {
      sensor.missing = table.Find(sensor.name, sensor.file, sensor.scale);
    }
    m_found = true;
    return {};
  }

  static Problem ReadSensor(const Sensor& sensor, double& number) {
    if (sensor.missing) return sensor.missing;
    std::string text;
    if (Problem problem = ReadFile(sensor.file, kLargestReading, text)) {
      return problem.With(sensor.file);
    }
    if (!ParseNumber(Trimmed(text), number)) return Problem("holds no number").With(sensor.file);
    number *= sensor.scale;
    return {};
  }

  const std::string m_name;
  const std::string m_device;
  std::vector<Sensor> m_sensors;
  bool m_found = false;
};

}  // namespace

std::vector<JsonKey> HwmonModule::ConnectionKeys() const {
  return {{"Chip", JsonKey::Type::kText}, {"Device", JsonKey::Type::kText}};
}

std::vector<JsonKey> HwmonModule::PointKeys() const {
  return {{"Label", JsonKey::Type::kText},
          {"Kind", JsonKey::Type::kText},
          {"Attribute", JsonKey::Type::kText}};
}

std::unique_ptr<SourceConnection> HwmonModule::Open(const std::string& settings,
                                                    const SourceLimits& /*limits*/,
                                                    SettingFaults& faults) const {
  const Settings its(settings);
  return std::make_unique<Chip>(its.Needed("Chip", faults), its.Text("Device"));
}

}  // namespace host
