// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_HOST_SOURCEDOUBLE_H_
#define TESTS_UNIT_HOST_SOURCEDOUBLE_H_

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/device/sources/SourceModule.h"

// Keeps what a connection tells: "23.5" of a number, "'text'" of a text, "none: why" without a
// value.
class ToldValues : public host::SourceSink {
 public:
  void Number(size_t point, double number) override {
    char text[400];
    snprintf(text, sizeof(text), "%g", number);
    values[point] = text;
  }
  void Text(size_t point, const std::string& text) override { values[point] = "'" + text + "'"; }
  void NoValue(size_t point, const host::Problem& reason) override {
    values[point] = "none: " + reason.Text();
  }
  void Event(size_t event, bool raised) override { events.emplace_back(event, raised); }

  std::map<size_t, std::string> values;
  std::vector<std::pair<size_t, bool>> events;
};

// A connection of a module, as the engine would have it.
class OpenedSource {
 public:
  OpenedSource(const host::SourceModule& module, const std::string& settings,
               const host::SourceLimits& limits = {60000, 0, -1}) {
    host::SettingFaults found;
    m_connection = module.Open(settings, limits, found);
    Keep(found);
  }

  OpenedSource& Point(const std::string& settings) {
    host::SettingFaults found;
    m_connection->AddPoint(m_points++, settings, found);
    Keep(found);
    return *this;
  }
  OpenedSource& Event(const std::string& settings) {
    host::SettingFaults found;
    m_connection->AddEvent(m_events++, settings, found);
    Keep(found);
    return *this;
  }

  // Reads once: the connection's problem, empty when there was none.
  std::string Read() {
    told.values.clear();
    return m_connection->Read(told).Text();
  }
  host::SourceConnection& Connection() { return *m_connection; }

  ToldValues told;
  std::vector<std::string> faults;  // "Key what"

 private:
  void Keep(const host::SettingFaults& found) {
    for (const host::SettingFault& fault : found) faults.push_back(fault.key + " " + fault.what);
  }

  std::unique_ptr<host::SourceConnection> m_connection;
  size_t m_points = 0;
  size_t m_events = 0;
};

#endif  // TESTS_UNIT_HOST_SOURCEDOUBLE_H_
