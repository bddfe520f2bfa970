// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_MODBUS_BUS_H_
#define HOST_DEVICE_SOURCES_MODBUS_BUS_H_

#include <modbus.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/device/sources/NetAddress.h"
#include "host/device/sources/SourceModule.h"
#include "host/device/sources/modbus/Registers.h"

namespace host {

// A serial line.
struct SerialLine {
  std::string device;  // the appliance's; empty where the way is TCP
  int baud = 9600;
  char parity = 'E';  // 'N', 'E', 'O'
  int stopBits = 1;
};

struct ModbusRelease {
  void operator()(modbus_t* context) const {
    modbus_close(context);
    modbus_free(context);
  }
};

// Reads the points of all units behind a host or on a line. A unit that is silent has no values,
// and is asked again after more and more readings: on a line all others wait for it.
class ModbusBus {
 public:
  ModbusBus(NetAddress address, SerialLine line, const SourceLimits& limits);

  void Add(const ModbusPoint& point);
  Problem Read(SourceSink& sink);

 private:
  // What became of a request: other numbers are that of the system or of the library.
  static constexpr int kAnswered = 0;

  // A unit that has not answered.
  struct Silence {
    int readings = 0;  // to be left out from now on
    int next = 1;      // after the next failure
  };

  bool IsStopped() const;
  int Connect();
  int Ask(const ModbusSpan& span, std::vector<uint16_t>& elements);
  int AskOnce(const ModbusSpan& span, std::vector<uint16_t>& elements);
  int ReadSpan(const ModbusSpan& span, SourceSink& sink);
  bool IsLeftOut(int unit);
  std::vector<std::vector<const ModbusPoint*>> ByUnit();
  bool ReadUnit(int unit, const std::vector<const ModbusPoint*>& points, SourceSink& sink,
                int& error);

  const NetAddress m_address;
  const SerialLine m_line;
  const SourceLimits m_limits;
  std::vector<ModbusPoint> m_points;
  bool m_sorted = false;
  bool m_isDown = false;            // the last try to connect failed
  std::map<int, Silence> m_silent;  // by unit
  std::unique_ptr<modbus_t, ModbusRelease> m_context;
};

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_MODBUS_BUS_H_
