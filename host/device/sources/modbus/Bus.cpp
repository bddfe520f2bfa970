// SPDX-License-Identifier: Apache-2.0
// Requests to the units of a host or a line.
#include "host/device/sources/modbus/Bus.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "host/util/Wait.h"
#include "platform/util/LocalPath.h"

namespace host {
namespace {

constexpr int kMostLeftOut = 32;
constexpr int kMostTried = 2;  // units, when none answers
constexpr int kDataBits = 8;

Problem OfModbus(int error) { return Problem(modbus_strerror(error)); }

// What the unit itself answers; it is there.
bool IsUnitsWord(int error) {
  return error >= EMBXILFUN && error <= EMBXMEMPAR && error != EMBXGPATH;
}

// What a gateway answers in the place of a unit that is not there.
bool IsGatewaysWord(int error) { return error == EMBXGPATH || error == EMBXGTAR; }

void TellNone(const std::vector<const ModbusPoint*>& points, int error, SourceSink& sink) {
  for (const ModbusPoint* const point : points) sink.NoValue(point->point, OfModbus(error));
}

}  // namespace

ModbusBus::ModbusBus(NetAddress address, SerialLine line, const SourceLimits& limits)
    : m_address(std::move(address)), m_line(std::move(line)), m_limits(limits) {}

void ModbusBus::Add(const ModbusPoint& point) {
  m_points.push_back(point);
  m_sorted = false;
}

bool ModbusBus::IsStopped() const {
  if (m_limits.stopFd < 0) return false;
  Wait wait;
  wait.ForRead(m_limits.stopFd);
  return wait.Poll(0) && wait.Ready(m_limits.stopFd);
}

int ModbusBus::Connect() {
  if (m_line.device.empty()) {
    m_context.reset(
        modbus_new_tcp_pi(m_address.host.c_str(), std::to_string(m_address.port).c_str()));
  } else {
    m_context.reset(modbus_new_rtu(LocalPath(m_line.device).c_str(), m_line.baud, m_line.parity,
                                   kDataBits, m_line.stopBits));
  }
  if (m_context == nullptr) return errno;
  modbus_set_response_timeout(m_context.get(), static_cast<uint32_t>(m_limits.timeoutMs / 1000),
                              static_cast<uint32_t>(m_limits.timeoutMs % 1000) * 1000);
  errno = 0;
  if (modbus_connect(m_context.get()) == 0) return kAnswered;
  const int error = errno == 0 ? ECONNREFUSED : errno;  // of a name that is not known, nothing
  m_context.reset();
  return error;
}

int ModbusBus::AskOnce(const ModbusSpan& span, std::vector<uint16_t>& elements) {
  if (m_context == nullptr) {
    const int error = Connect();
    m_isDown = error != kAnswered;
    if (m_isDown) return error;
  }
  modbus_t* const context = m_context.get();
  if (modbus_set_slave(context, span.unit) != 0) return errno;
  elements.assign(static_cast<size_t>(span.count), 0);
  std::vector<uint8_t> bits(HoldsBits(span.table) ? elements.size() : 0);
  int count = -1;
  switch (span.table) {
    case ModbusTable::kHolding:
      count = modbus_read_registers(context, span.address, span.count, elements.data());
      break;
    case ModbusTable::kInput:
      count = modbus_read_input_registers(context, span.address, span.count, elements.data());
      break;
    case ModbusTable::kCoil:
      count = modbus_read_bits(context, span.address, span.count, bits.data());
      break;
    case ModbusTable::kDiscrete:
      count = modbus_read_input_bits(context, span.address, span.count, bits.data());
  }
  if (count < 0) return errno;
  std::copy(bits.begin(), bits.end(), elements.begin());
  return count == span.count ? kAnswered : EMBBADDATA;
}

// Asks until there is an answer or it was asked often enough. What was not answered in time may
// come later, and is not to be the answer to what follows.
int ModbusBus::Ask(const ModbusSpan& span, std::vector<uint16_t>& elements) {
  int error = kAnswered;
  for (int i = 0; i <= m_limits.retries && !IsStopped(); ++i) {
    error = AskOnce(span, elements);
    if (error == kAnswered || IsUnitsWord(error) || IsGatewaysWord(error)) return error;
    if (m_isDown) return error;
    if (m_context == nullptr) continue;
    if (m_line.device.empty() || error != ETIMEDOUT) {
      m_context.reset();
    } else {
      modbus_flush(m_context.get());
    }
  }
  return error == kAnswered ? ETIMEDOUT : error;
}

// Reads and tells a span. A word of the unit against all of it may be against a part of it alone.
int ModbusBus::ReadSpan(const ModbusSpan& span, SourceSink& sink) {
  std::vector<uint16_t> elements;
  const int error = Ask(span, elements);
  if (error == kAnswered) {
    for (const ModbusPoint* const point : span.points) {
      sink.Number(point->point,
                  NumberOf(*point, &elements[static_cast<size_t>(point->address - span.address)]));
    }
    return kAnswered;
  }
  if (!IsUnitsWord(error) || IsGatewaysWord(error)) return error;
  if (span.points.size() == 1) {
    TellNone(span.points, error, sink);
    return kAnswered;
  }
  const auto middle = span.points.begin() + static_cast<std::ptrdiff_t>(span.points.size() / 2);
  for (const auto& half : {std::vector<const ModbusPoint*>(span.points.begin(), middle),
                           std::vector<const ModbusPoint*>(middle, span.points.end())}) {
    for (const ModbusSpan& part : SpansOf(half)) {
      if (const int failed = ReadSpan(part, sink)) return failed;
    }
  }
  return kAnswered;
}

bool ModbusBus::IsLeftOut(int unit) {
  const auto silent = m_silent.find(unit);
  return silent != m_silent.end() && silent->second.readings-- > 0;
}

// Whether the unit answers.
bool ModbusBus::ReadUnit(int unit, const std::vector<const ModbusPoint*>& points, SourceSink& sink,
                         int& error) {
  for (const ModbusSpan& span : SpansOf(points)) {
    error = ReadSpan(span, sink);
    if (error == kAnswered) continue;
    Silence& silence = m_silent[unit];
    silence.readings = silence.next;
    silence.next = std::min(2 * silence.next, kMostLeftOut);
    return false;
  }
  m_silent.erase(unit);
  return true;
}

// The points of each unit.
std::vector<std::vector<const ModbusPoint*>> ModbusBus::ByUnit() {
  if (!std::exchange(m_sorted, true)) SortPoints(m_points);
  std::vector<std::vector<const ModbusPoint*>> units;
  for (const ModbusPoint& point : m_points) {
    if (units.empty() || units.back().front()->unit != point.unit) units.emplace_back();
    units.back().push_back(&point);
  }
  return units;
}

Problem ModbusBus::Read(SourceSink& sink) {
  int answered = 0;
  int failed = 0;
  int error = ETIMEDOUT;
  std::vector<std::vector<const ModbusPoint*>> silent;
  for (std::vector<const ModbusPoint*>& points : ByUnit()) {
    const int unit = points.front()->unit;
    bool answers = false;
    if (!IsLeftOut(unit)) {
      answers = ReadUnit(unit, points, sink, error);
      ++(answers ? answered : failed);
    }
    if (!answers) silent.push_back(std::move(points));
    // Nobody is there, most likely: that is the connection's problem. Others come first next time.
    if (m_isDown || (answered == 0 && failed == kMostTried)) return OfModbus(error);
  }
  if (answered == 0) {
    m_silent.clear();
    return OfModbus(error);
  }
  for (const auto& points : silent) TellNone(points, ETIMEDOUT, sink);
  return {};
}

}  // namespace host
