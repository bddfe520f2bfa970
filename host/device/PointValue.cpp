// SPDX-License-Identifier: Apache-2.0
// What a source told, as the value of a point.
#include "host/device/PointValue.h"

#include <algorithm>
#include <cmath>

#include "host/device/DeviceKeys.h"
#include "host/util/Json.h"
#include "host/util/Numbers.h"

namespace host {
namespace {

const std::string* StateOf(const PointModel& point, const std::string& text) {
  double number = 0;
  const bool isNumber = ParseNumber(text, number);
  for (const StateText& state : point.states) {
    if (state.told == text || (isNumber && state.number == number)) return &state.text;
  }
  return nullptr;
}

const std::string* StateOf(const PointModel& point, double number) {
  for (const StateText& state : point.states) {
    if (state.number == number) return &state.text;
  }
  return nullptr;
}

char Harmless(char c) {
  const auto byte = static_cast<unsigned char>(c);
  if (byte < 0x20 || byte == 0x7f) return ' ';
  if (c == '"') return '\'';
  return c == '\\' ? '/' : c;
}

}  // namespace

Problem ValueOfNumber(const PointModel& point, double number, std::string& value) {
  if (const std::string* const state = StateOf(point, number)) {
    value = *state;
    return {};
  }
  const double scaled = number * point.scale.value_or(1);
  if (!std::isfinite(scaled)) return Problem("holds no number");
  value = NumberText(scaled, point.decimals);
  return {};
}

Problem ValueOfText(const PointModel& point, const std::string& text, std::string& value) {
  if (const std::string* const state = StateOf(point, text)) {
    value = *state;
    return {};
  }
  if (point.scale) {
    double number = 0;
    if (!ParseNumber(text, number)) return Problem("holds no number");
    return ValueOfNumber(point, number, value);
  }
  if (text.size() > kLongestValue) {
    return Problem("is longer than " + std::to_string(kLongestValue) + " bytes");
  }
  if (JsonString(text) == nullptr) return Problem("is not UTF-8");
  value = text;
  std::transform(value.begin(), value.end(), value.begin(), Harmless);
  return {};
}

}  // namespace host
