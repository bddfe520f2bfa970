// SPDX-License-Identifier: Apache-2.0
// What an agent's objects could show: its sensors, or all its numbers.
#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <utility>

#include "host/device/sources/snmp/Walk.h"
#include "host/util/Numbers.h"
#include "host/util/Trimmed.h"

namespace host {

const Oid kSensorTable = {1, 3, 6, 1, 2, 1, 99, 1, 1, 1};
const Oid kPartNames = {1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 7};
const Oid kPartDescriptions = {1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1, 2};

namespace {

// The columns of a row of the table.
enum Column : uint32_t { kType = 1, kScale = 2, kPrecision = 3, kValue = 4 };

constexpr int kTruth = 12;
constexpr int kUnscaled = 9;  // the scale of units; the others are three powers of ten apart each
constexpr int kScales = 17;
constexpr int kMostDecimals = 9;

// Units by their types, from 1; two are of none.
constexpr std::array<const char*, 13> kUnits = {"",   "",     "",  "V",   "V",      "A", "W",
                                                "Hz", "degC", "%", "rpm", "m3/min", ""};

Oid Below(Oid oid, uint32_t number) {
  oid.push_back(number);
  return oid;
}

std::optional<int> IntegerAt(const SnmpTree& tree, const Oid& oid) {
  const auto found = tree.find(oid);
  if (found == tree.end() || found->second.kind != SnmpValue::Kind::kNumber) return std::nullopt;
  const double number = found->second.number;
  if (number < -1000 || number > 1000) return std::nullopt;
  return static_cast<int>(number);
}

std::string TextAt(const SnmpTree& tree, const Oid& oid) {
  const auto found = tree.find(oid);
  return found == tree.end() ? std::string() : Trimmed(found->second.text);
}

OfferedPoint PointOf(const Oid& oid) {
  const JsonRef settings(json_object());
  PutJson(settings.get(), "Oid", AnyText(OidText(oid)));
  OfferedPoint point;
  point.settings = DumpedJson(settings.get(), JSON_COMPACT);
  return point;
}

// The unit and scale of the sensor of that row.
void SetUnit(const SnmpTree& sensors, uint32_t row, OfferedPoint& point) {
  const auto at = [&](Column column) {
    return IntegerAt(sensors, Below(Below(kSensorTable, column), row));
  };
  const int type = at(kType).value_or(0);
  if (type == kTruth) {
    point.states = {{"1", "true"}, {"2", "false"}};
    return;
  }
  if (type > 0 && type < static_cast<int>(kUnits.size())) {
    point.unit = kUnits[static_cast<size_t>(type)];
  }
  const int precision = std::clamp(at(kPrecision).value_or(0), 0, kMostDecimals);
  const int scale = std::clamp(at(kScale).value_or(kUnscaled), 1, kScales);
  const int power = 3 * (scale - kUnscaled) - precision;
  point.scale = std::pow(10, power);
  point.decimals = std::clamp(-power, 0, kMostDecimals);
}

}  // namespace

std::vector<OfferedPoint> PointsOfSensors(const SnmpTree& sensors, const SnmpTree& names) {
  std::vector<OfferedPoint> points;
  const Oid values = Below(kSensorTable, kValue);
  for (const auto& [oid, value] : sensors) {
    if (!IsBelow(oid, values) || oid.size() != values.size() + 1) continue;
    if (value.kind != SnmpValue::Kind::kNumber) continue;
    const uint32_t row = oid.back();
    OfferedPoint point = PointOf(oid);
    SetUnit(sensors, row, point);
    point.name = TextAt(names, Below(kPartNames, row));
    if (point.name.empty()) point.name = TextAt(names, Below(kPartDescriptions, row));
    if (point.name.empty()) point.name = "sensor " + std::to_string(row);
    if (point.states.empty()) {
      point.value = NumberText(value.number * point.scale, point.decimals);
    } else {
      point.value = value.number == 1 ? "true" : "false";
    }
    points.push_back(std::move(point));
  }
  return points;
}

std::vector<OfferedPoint> PointsOfTree(const SnmpTree& tree, const Oid& begin) {
  std::vector<OfferedPoint> points;
  for (const auto& [oid, value] : tree) {
    if (value.kind != SnmpValue::Kind::kNumber) continue;
    OfferedPoint point = PointOf(oid);
    const bool isWhole = value.number == std::floor(value.number);
    point.decimals = isWhole ? 0 : 2;
    point.value = NumberText(value.number, point.decimals);
    const Oid rest(oid.begin() + static_cast<Oid::difference_type>(begin.size()), oid.end());
    point.name = "object " + (rest.empty() ? OidText(oid) : OidText(rest));
    points.push_back(std::move(point));
  }
  return points;
}

}  // namespace host
