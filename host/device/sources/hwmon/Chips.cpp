// SPDX-License-Identifier: Apache-2.0
// Finding chips and their sensors by names that last.
#include "host/device/sources/hwmon/Chips.h"

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <vector>

#include "host/util/Files.h"
#include "host/util/Trimmed.h"
#include "platform/util/LocalPath.h"

namespace host {
namespace {

constexpr char kClass[] = "/sys/class/hwmon";
constexpr size_t kLargestName = 4096;
constexpr char kLabelEnd[] = "_label";

// The names in a folder that do not begin with a full stop, in order.
Problem ListFolder(const std::string& folder, std::vector<std::string>& names) {
  const std::unique_ptr<DIR, int (*)(DIR*)> open(opendir(folder.c_str()), &closedir);
  if (open == nullptr) return Problem::OfErrno(errno).With(folder);
  // Nobody else reads from this folder.
  while (const dirent* const entry = readdir(open.get())) {  // NOLINT(concurrency-mt-unsafe)
    if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
  }
  std::sort(names.begin(), names.end());
  return {};
}

// A file's text without its line end; empty when it can't be read.
std::string TextOf(const std::string& path) {
  std::string text;
  return ReadFile(path, kLargestName, text) ? std::string() : Trimmed(text);
}

// The device behind a chip; empty when it has none.
std::string DeviceOf(const std::string& folder) {
  const std::unique_ptr<char, decltype(&std::free)> full(
      realpath((folder + "/device").c_str(), nullptr), &std::free);
  return full == nullptr ? std::string() : std::string(full.get());
}

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// "temp" of "temp12"; empty of a text that is no such name.
std::string KindOf(const std::string& sensor) {
  const size_t digits = sensor.find_first_of("0123456789");
  const bool numbered = digits != std::string::npos && digits != 0 &&
                        sensor.find_first_not_of("0123456789", digits) == std::string::npos;
  return numbered ? sensor.substr(0, digits) : std::string();
}

// What the numbers of a kind are multiplied by. Flags and settings are no measurements.
double ScaleOf(const std::string& kind, const std::string& attribute) {
  for (const char* flag : {"alarm", "fault", "beep", "enable", "type", "div", "pulses"}) {
    if (EndsWith(attribute, flag)) return 1;
  }
  if (kind == "temp" || kind == "in" || kind == "curr" || kind == "humidity") return 1e-3;
  return kind == "power" || kind == "energy" ? 1e-6 : 1;
}

}  // namespace

bool EndsInSteps(const std::string& path, const std::string& end) {
  if (end.size() > path.size()) return false;
  const size_t begin = path.size() - end.size();
  if (path.compare(begin, end.size(), end) != 0) return false;
  return begin == 0 || end.front() == '/' || path[begin - 1] == '/';
}

Problem ListChips(std::vector<ChipPlace>& chips) {
  const std::string root = LocalPath(kClass);
  std::vector<std::string> entries;
  if (Problem problem = ListFolder(root, entries)) return problem;
  for (const std::string& entry : entries) {
    const std::string folder = root + "/" + entry;
    const std::string name = TextOf(folder + "/name");
    if (!name.empty()) chips.push_back({name, folder, DeviceOf(folder)});
  }
  return {};
}

Problem FindChip(const std::string& name, const std::string& device, std::string& folder) {
  std::vector<ChipPlace> chips;
  if (Problem problem = ListChips(chips)) return problem;
  std::vector<std::string> folders;
  std::vector<std::string> devices;
  for (const ChipPlace& chip : chips) {
    if (chip.name != name) continue;
    const std::string& its = chip.device;
    if (!device.empty() && !EndsInSteps(its, device)) continue;
    folders.push_back(chip.folder);
    devices.push_back(its.empty() ? "none" : its.substr(its.rfind('/') + 1));
  }
  if (folders.empty()) {
    return Problem("no chip is named \"" + name + "\"" +
                   (device.empty() ? "" : " with the device \"" + device + "\""));
  }
  if (folders.size() > 1) {
    return Problem("more than one chip is named \"" + name + "\", of the devices " +
                   Joined(devices));
  }
  folder = folders.front();
  return {};
}

Problem SensorTable::Read(const std::string& folder) {
  std::vector<std::string> files;
  if (Problem problem = ListFolder(folder, files)) return problem;
  m_folder = folder;
  m_files = std::set<std::string>(files.begin(), files.end());
  m_sensors.clear();
  std::string last;
  for (const std::string& file : m_files) {
    const std::string name = file.substr(0, file.find('_'));
    if (name == file || name == last || KindOf(name).empty()) continue;
    last = name;
    m_sensors.emplace(name, name);
    const std::string label = TextOf(folder + "/" + name + kLabelEnd);
    if (!label.empty() && label != name) m_sensors.emplace(label, name);
  }
  return {};
}

Problem SensorTable::Find(const SensorName& sensor, std::string& file, double& scale) const {
  std::vector<std::string> found;
  const auto [begin, end] = m_sensors.equal_range(sensor.label);
  for (auto its = begin; its != end; ++its) {
    const std::string& name = its->second;
    if (!sensor.kind.empty() && KindOf(name) != sensor.kind) continue;
    if (m_files.count(name + "_" + sensor.attribute) != 0) found.push_back(name);
  }
  if (found.empty()) return Problem("the chip has no sensor \"" + sensor.label + "\"");
  if (found.size() > 1) {
    return Problem("more than one sensor is \"" + sensor.label + "\": " + Joined(found));
  }
  file = m_folder + "/" + found.front() + "_" + sensor.attribute;
  scale = ScaleOf(KindOf(found.front()), sensor.attribute);
  return {};
}

std::vector<SensorName> SensorTable::NamesOf(const std::string& attribute) const {
  std::vector<SensorName> names;
  std::string file;
  double scale = 1;
  for (const auto& [label, sensor] : m_sensors) {
    if (label != sensor || m_files.count(sensor + "_" + attribute) == 0) continue;
    const std::string wanted = m_folder + "/" + sensor + "_" + attribute;
    SensorName name = {sensor, KindOf(sensor), attribute};
    for (const auto& [other, its] : m_sensors) {
      if (its == sensor && other != sensor) name.label = other;
    }
    // By its label alone, else by kind too, else as its files are named.
    SensorName shorter = name;
    shorter.kind.clear();
    if (!Find(shorter, file, scale) && file == wanted) {
      name = shorter;
    } else if (Find(name, file, scale) || file != wanted) {
      name.label = sensor;
    }
    names.push_back(name);
  }
  return names;
}

}  // namespace host
