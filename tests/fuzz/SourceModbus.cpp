// SPDX-License-Identifier: Apache-2.0
// Points of Modbus: how they are read together, and the numbers that any registers are.
#include "SourceSink.h"
#include "host/device/sources/modbus/Registers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const uint16_t elements[2] = {static_cast<uint16_t>(input.Choice(256) << 8 | input.Choice(256)),
                                static_cast<uint16_t>(input.Choice(256) << 8 | input.Choice(256))};
  std::vector<host::ModbusPoint> points;
  while (!input.AtEnd()) {
    host::ModbusPoint point;
    point.point = points.size();
    point.unit = static_cast<int>(input.Choice(2));
    point.table = static_cast<host::ModbusTable>(input.Choice(4));
    point.format = static_cast<host::ModbusFormat>(input.Choice(5));
    point.address = static_cast<int>(input.Choice(256) * input.Choice(256));
    point.bit = static_cast<int>(input.Choice(17)) - 1;
    point.lowWordFirst = input.Choice(2) == 1;
    points.push_back(point);
  }
  host::SortPoints(points);
  std::vector<const host::ModbusPoint*> all;
  for (const host::ModbusPoint& point : points) all.push_back(&point);
  fuzz::Sink sink(points.size());
  for (const host::ModbusSpan& span : host::SpansOf(all)) {
    fuzz::Require(span.count >= 1 && span.count <= (host::HoldsBits(span.table) ? 2000 : 125),
                  "a request is none too large");
    for (const host::ModbusPoint* const point : span.points) {
      fuzz::Require(point->address >= span.address &&
                        point->address + point->Count() <= span.address + span.count,
                    "a point lies in its request");
      sink.Number(point->point, host::NumberOf(*point, elements));
    }
  }
  fuzz::Require(sink.told == std::vector<int>(points.size(), 1), "each point is told once");
  return 0;
}
