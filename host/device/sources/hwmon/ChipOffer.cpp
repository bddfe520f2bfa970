// SPDX-License-Identifier: Apache-2.0
// What the chips of the machine could show.
#include <algorithm>
#include <utility>

#include "host/device/sources/Settings.h"
#include "host/device/sources/hwmon/Chips.h"
#include "host/device/sources/hwmon/Hwmon.h"
#include "host/util/Files.h"
#include "host/util/Numbers.h"
#include "host/util/Trimmed.h"

namespace host {
namespace {

constexpr size_t kLargestInput = 4096;

// How the numbers of a kind are shown.
struct Quantity {
  const char* kind;
  const char* attribute;
  const char* unit;
  int decimals;
};
constexpr Quantity kQuantities[] = {
    {"temp", "input", "degC", 1}, {"fan", "input", "rpm", 0},    {"in", "input", "V", 3},
    {"curr", "input", "A", 3},    {"power", "input", "W", 1},    {"power", "average", "W", 1},
    {"energy", "input", "J", 0},  {"humidity", "input", "%", 1}, {"freq", "input", "Hz", 0}};

// The end of the chip's device by which it is told from others of its name; empty when its name is
// enough. None when nothing tells it from them.
bool DistinguishChip(const ChipPlace& chip, const std::vector<ChipPlace>& chips, std::string& end) {
  std::vector<std::string> others;
  for (const ChipPlace& other : chips) {
    if (other.folder != chip.folder && other.name == chip.name) others.push_back(other.device);
  }
  end.clear();
  if (others.empty()) return true;
  for (size_t begin = chip.device.size(); begin != 0 && begin != std::string::npos;) {
    begin = chip.device.rfind('/', begin - 1);
    if (begin == std::string::npos) break;
    end = chip.device.substr(begin + 1);
    const auto isAlike = [&end](const std::string& device) { return EndsInSteps(device, end); };
    if (std::none_of(others.begin(), others.end(), isAlike)) return true;
  }
  return false;
}

std::string ValueOf(const std::string& file, double scale, int decimals) {
  std::string text;
  double number = 0;
  if (ReadFile(file, kLargestInput, text) || !ParseNumber(Trimmed(text), number)) return {};
  return NumberText(number * scale, decimals);
}

void OfferSensors(const SensorTable& table, const Quantity& quantity,
                  std::vector<OfferedPoint>& points) {
  for (const SensorName& name : table.NamesOf(quantity.attribute)) {
    std::string file;
    double scale = 1;
    if (table.Find(name, file, scale)) continue;
    const std::string sensor = file.substr(file.rfind('/') + 1);
    const std::string kind = sensor.substr(0, sensor.find_first_of("0123456789"));
    if (kind != quantity.kind) continue;
    const JsonRef settings(json_object());
    PutJson(settings.get(), "Label", AnyText(name.label));
    if (!name.kind.empty()) PutJson(settings.get(), "Kind", AnyText(name.kind));
    if (name.attribute != "input") PutJson(settings.get(), "Attribute", AnyText(name.attribute));
    OfferedPoint point;
    point.settings = DumpedJson(settings.get(), JSON_COMPACT);
    point.name = name.label;
    point.value = ValueOf(file, scale, quantity.decimals);
    point.unit = quantity.unit;
    point.decimals = quantity.decimals;
    points.push_back(std::move(point));
  }
}

OfferedSource OfferChip(const ChipPlace& chip, const std::string& device,
                        const SensorTable& table) {
  const JsonRef settings(json_object());
  PutJson(settings.get(), "Chip", AnyText(chip.name));
  if (!device.empty()) PutJson(settings.get(), "Device", AnyText(device));
  OfferedSource source;
  source.name = device.empty() ? chip.name : chip.name + " " + device;
  source.settings = DumpedJson(settings.get(), JSON_COMPACT);
  for (const Quantity& quantity : kQuantities) OfferSensors(table, quantity, source.points);
  return source;
}

}  // namespace

Problem HwmonModule::FindOffer(const OfferRequest& request, SettingFaults& /*faults*/,
                               Offer& offer) const {
  std::vector<ChipPlace> chips;
  if (Problem problem = ListChips(chips)) return problem;
  size_t left = request.most;
  for (const ChipPlace& chip : chips) {
    if (!request.begin.empty() && chip.name != request.begin) continue;
    std::string device;
    SensorTable table;
    if (!DistinguishChip(chip, chips, device) || table.Read(chip.folder)) continue;
    OfferedSource source = OfferChip(chip, device, table);
    if (source.points.size() > left) {
      source.points.resize(left);
      offer.isCut = true;
    }
    left -= source.points.size();
    if (!source.points.empty()) offer.sources.push_back(std::move(source));
  }
  if (!offer.sources.empty()) return {};
  return Problem(request.begin.empty() ? "no chip of this machine has a sensor"
                                       : "no chip \"" + request.begin + "\" has a sensor");
}

}  // namespace host
