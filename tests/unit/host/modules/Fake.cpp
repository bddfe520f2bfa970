// SPDX-License-Identifier: Apache-2.0
// A module whose points tell what their settings say.
#include "host/device/sources/Settings.h"
#include "host/device/sources/SourceModule.h"

namespace {

class Connection : public host::SourceConnection {
 public:
  Connection(std::string settings, const host::SourceLimits& limits)
      : m_said(std::move(settings) + " " + std::to_string(limits.timeoutMs) + " " +
               std::to_string(limits.retries)) {}

  void AddPoint(size_t point, const std::string& settings, host::SettingFaults& faults) override {
    const std::string told = host::Settings(settings).Needed("Tell", faults);
    if (!faults.empty()) return;
    m_points.push_back(point);
    m_texts.push_back(told == "all" ? m_said : told);
  }
  void AddEvent(size_t event, const std::string& settings, host::SettingFaults& faults) override {
    host::Settings(settings).Needed("On", faults);
    if (faults.empty()) m_events.push_back(event);
  }
  host::Problem Read(host::SourceSink& sink) override {
    for (size_t i = 0; i < m_points.size(); ++i) sink.Text(m_points[i], m_texts[i]);
    for (const size_t event : m_events) sink.Event(event, true);
    return {};
  }

 private:
  const std::string m_said;
  std::vector<size_t> m_points;
  std::vector<std::string> m_texts;
  std::vector<size_t> m_events;
};

class Module : public host::SourceModule {
 public:
  std::vector<host::JsonKey> ConnectionKeys() const override {
    return {{"Address", host::JsonKey::Type::kText}, host::TimeoutKey(), host::RetriesKey()};
  }
  std::vector<host::JsonKey> PointKeys() const override {
    return {{"Tell", host::JsonKey::Type::kText}};
  }
  std::vector<host::JsonKey> EventKeys() const override {
    return {{"On", host::JsonKey::Type::kText}};
  }
  std::unique_ptr<host::SourceConnection> Open(const std::string& settings,
                                               const host::SourceLimits& limits,
                                               host::SettingFaults& faults) const override {
    host::Settings(settings).Needed("Address", faults);
    return std::make_unique<Connection>(settings, limits);
  }
};

}  // namespace

HOST_SOURCE_MODULE(Module);
