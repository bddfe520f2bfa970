// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_FUZZ_SOURCESINK_H_
#define TESTS_FUZZ_SOURCESINK_H_

// Where sources of a target tell what they read.

#include <string>
#include <vector>

#include "Input.h"
#include "host/device/DeviceModel.h"
#include "host/device/PointValue.h"
#include "host/device/sources/SourceModule.h"
#include "host/util/Json.h"

namespace fuzz {

// Makes values of what is told, as the engine does, and counts how often each point was told.
class Sink : public host::SourceSink {
 public:
  explicit Sink(size_t points) : told(points) {}

  void Number(size_t point, double number) override {
    std::string value;
    Take(point, host::ValueOfNumber(m_point, number, value), value);
  }
  void Text(size_t point, const std::string& text) override {
    std::string value;
    Take(point, host::ValueOfText(m_point, text, value), value);
  }
  void NoValue(size_t point, const host::Problem& reason) override {
    Require(bool{reason}, "what has no value says why");
    ++told.at(point);
  }
  void Event(size_t /*event*/, bool /*raised*/) override {}

  std::vector<int> told;

 private:
  void Take(size_t point, const host::Problem& problem, const std::string& value) {
    ++told.at(point);
    if (problem) return;
    Require(host::JsonString(value) != nullptr, "a value is UTF-8");
    Require(
        value.find_first_of("\"\\\n") == std::string::npos && value.find('\0') == std::string::npos,
        "a value can't write into a document");
  }

  const host::PointModel m_point;
};

}  // namespace fuzz

#endif  // TESTS_FUZZ_SOURCESINK_H_
