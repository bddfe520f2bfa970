// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_MODBUS_REGISTERS_H_
#define HOST_DEVICE_SOURCES_MODBUS_REGISTERS_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace host {

enum class ModbusTable { kHolding, kInput, kCoil, kDiscrete };
enum class ModbusFormat { kUint16, kInt16, kUint32, kInt32, kFloat32 };

// Of "holding", "input", "coil", "discrete", and of "uint16" ...; none of another text.
std::optional<ModbusTable> ParseTable(const std::string& text);
std::optional<ModbusFormat> ParseFormat(const std::string& text);

// Whether a table's elements are bits.
bool HoldsBits(ModbusTable table);

// What a point shows.
struct ModbusPoint {
  size_t point = 0;
  int unit = 1;
  ModbusTable table = ModbusTable::kHolding;
  int address = 0;  // of its first element, counted from 0
  ModbusFormat format = ModbusFormat::kUint16;
  bool lowWordFirst = false;
  int bit = -1;  // of a register; -1 for all of it

  int Count() const;  // how many elements
};

// Elements that are read with one request, and the points that they are for.
struct ModbusSpan {
  int unit = 1;
  ModbusTable table = ModbusTable::kHolding;
  int address = 0;
  int count = 0;
  std::vector<const ModbusPoint*> points;  // by address
};

// The requests for points that are ordered by SortPoints: what adjoins is read together, what lies
// between is not read. Borrows the points.
void SortPoints(std::vector<ModbusPoint>& points);
std::vector<ModbusSpan> SpansOf(const std::vector<const ModbusPoint*>& points);

// The number that a point's elements are, one in each of `elements`.
double NumberOf(const ModbusPoint& point, const uint16_t* elements);

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_MODBUS_REGISTERS_H_
