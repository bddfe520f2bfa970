// SPDX-License-Identifier: Apache-2.0
// Which registers are read together, and the numbers that they are.
#include "host/device/sources/modbus/Registers.h"

#include <algorithm>
#include <cstring>
#include <tuple>

namespace host {
namespace {

// The most elements of a request.
constexpr int kMostRegisters = 125;
constexpr int kMostBits = 2000;

}  // namespace

std::optional<ModbusTable> ParseTable(const std::string& text) {
  if (text == "holding") return ModbusTable::kHolding;
  if (text == "input") return ModbusTable::kInput;
  if (text == "coil") return ModbusTable::kCoil;
  if (text == "discrete") return ModbusTable::kDiscrete;
  return std::nullopt;
}

std::optional<ModbusFormat> ParseFormat(const std::string& text) {
  if (text == "uint16") return ModbusFormat::kUint16;
  if (text == "int16") return ModbusFormat::kInt16;
  if (text == "uint32") return ModbusFormat::kUint32;
  if (text == "int32") return ModbusFormat::kInt32;
  if (text == "float32") return ModbusFormat::kFloat32;
  return std::nullopt;
}

bool HoldsBits(ModbusTable table) {
  return table == ModbusTable::kCoil || table == ModbusTable::kDiscrete;
}

int ModbusPoint::Count() const {
  const bool isWord = HoldsBits(table) || bit >= 0 || format == ModbusFormat::kUint16 ||
                      format == ModbusFormat::kInt16;
  return isWord ? 1 : 2;
}

void SortPoints(std::vector<ModbusPoint>& points) {
  std::stable_sort(points.begin(), points.end(), [](const ModbusPoint& a, const ModbusPoint& b) {
    return std::tie(a.unit, a.table, a.address) < std::tie(b.unit, b.table, b.address);
  });
}

std::vector<ModbusSpan> SpansOf(const std::vector<const ModbusPoint*>& points) {
  std::vector<ModbusSpan> spans;
  for (const ModbusPoint* const point : points) {
    const int most = HoldsBits(point->table) ? kMostBits : kMostRegisters;
    const int end = point->address + point->Count();
    ModbusSpan* const last = spans.empty() ? nullptr : &spans.back();
    const bool joins = last != nullptr && last->unit == point->unit &&
                       last->table == point->table &&
                       point->address <= last->address + last->count && end - last->address <= most;
    if (joins) {
      last->count = std::max(last->count, end - last->address);
      last->points.push_back(point);
    } else {
      spans.push_back({point->unit, point->table, point->address, point->Count(), {point}});
    }
  }
  return spans;
}

double NumberOf(const ModbusPoint& point, const uint16_t* elements) {
  if (point.bit >= 0) return (elements[0] >> point.bit) & 1;
  if (point.Count() == 1) {
    if (point.format == ModbusFormat::kInt16 && !HoldsBits(point.table)) {
      return static_cast<int16_t>(elements[0]);
    }
    return elements[0];
  }
  const uint32_t high = elements[point.lowWordFirst ? 1 : 0];
  const uint32_t low = elements[point.lowWordFirst ? 0 : 1];
  const uint32_t bits = high << 16 | low;
  if (point.format == ModbusFormat::kInt32) return static_cast<int32_t>(bits);
  if (point.format == ModbusFormat::kUint32) return bits;
  float number = 0;
  static_assert(sizeof(number) == sizeof(bits), "a float has 32 bits");
  std::memcpy(&number, &bits, sizeof(number));
  return double{number};
}

}  // namespace host
