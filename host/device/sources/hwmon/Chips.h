// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_HWMON_CHIPS_H_
#define HOST_DEVICE_SOURCES_HWMON_CHIPS_H_

#include <map>
#include <set>
#include <string>
#include <vector>

#include "host/util/Problem.h"

namespace host {

// The monitoring chips of this machine, below /sys/class/hwmon. Their numbers there change from
// start to start; name, device and labels stay.

struct ChipPlace {
  std::string name;
  std::string folder;
  std::string device;  // the path of the device behind it; empty when it has none
};

// All chips that have a name, by their numbers' order as texts.
Problem ListChips(std::vector<ChipPlace>& chips);

// Whether `end` is the end of the path, in whole steps.
bool EndsInSteps(const std::string& path, const std::string& end);

// The folder of the chip of that name. `device`, when not empty, is the end of its device's path,
// in whole steps ("0000:01:00.0"), and tells chips of one name apart. A problem when there is none,
// or more than one.
Problem FindChip(const std::string& name, const std::string& device, std::string& folder);

// A sensor of a chip, as a point asks for it.
struct SensorName {
  std::string label;  // the text of its label, or the name of its files: "temp1"
  std::string kind;   // "temp", "fan" ...; any when empty
  std::string attribute;
};

// The sensors of a chip, as they were when it was read.
class SensorTable {
 public:
  // Reads the names and labels in a chip's folder.
  Problem Read(const std::string& folder);

  // The file of the sensor's attribute, and by what its number is multiplied to be in degrees,
  // volts, amperes, watts, joules, per cent, hertz or revolutions per minute. A problem when there
  // is no such sensor, or more than one.
  Problem Find(const SensorName& sensor, std::string& file, double& scale) const;

  // A name for each sensor with that attribute by which Find finds it; its label where that is
  // enough.
  std::vector<SensorName> NamesOf(const std::string& attribute) const;

 private:
  std::string m_folder;
  std::set<std::string> m_files;
  std::multimap<std::string, std::string> m_sensors;  // "temp1" by its label and by its name
};

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_HWMON_CHIPS_H_
