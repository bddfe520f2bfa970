// SPDX-License-Identifier: Apache-2.0
// Gauges of each appliance.
#include "service/ops/ApplianceMetrics.h"

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "service/store/Transaction.h"

namespace cloudservice {

namespace {

constexpr std::int64_t kAtOnce = 1000;
// In the order of Severity.
constexpr std::array<const char*, 3> kSeverities = {"fault", "alarm", "warning"};

// All samples of a metric stand together: each has a text of its own.
class Gauges {
 public:
  Gauges() {
    m_info.Begin("appliance_info", "gauge", "1 for each appliance, with what it is.");
    m_state.Begin("appliance_state", "gauge", "0 alive, 1 late, 2 offline.");
    m_heartbeat.Begin("appliance_last_heartbeat_timestamp_seconds", "gauge",
                      "When the last heartbeat came, since 1970.");
    m_alarms.Begin("appliance_open_alarms", "gauge",
                   "Open alarms by severity, for appliances that have any.");
  }

  void Add(const ApplianceRecord& appliance, std::int64_t now) {
    const std::string uuid = MetricLabel("uuid", appliance.uuid);
    m_info.Sample("1", uuid + "," + MetricLabel("name", appliance.shown.name) + "," +
                           MetricLabel("model", appliance.shown.model.value_or("")) + "," +
                           MetricLabel("serial", appliance.shown.serial.value_or("")) + "," +
                           MetricLabel("firmware", appliance.shown.firmware.value_or("")));
    m_state.Sample(std::to_string(static_cast<int>(StateOf(appliance, now))), uuid);
    if (appliance.heartbeat.last) {
      m_heartbeat.Sample(std::to_string(*appliance.heartbeat.last), uuid);
    }
    for (std::size_t i = 0; i < kSeverities.size(); ++i) {
      if (appliance.alarms.at(i) == 0) continue;
      m_alarms.Sample(std::to_string(appliance.alarms.at(i)),
                      uuid + "," + MetricLabel("severity", kSeverities.at(i)));
    }
  }

  void WriteTo(MetricsWriter& out) const {
    for (const MetricsWriter* one : {&m_info, &m_state, &m_heartbeat, &m_alarms}) out.Append(*one);
  }

 private:
  MetricsWriter m_info;
  MetricsWriter m_state;
  MetricsWriter m_heartbeat;
  MetricsWriter m_alarms;
};

}  // namespace

void WriteAppliances(MetricsWriter& out, Store& store, std::int64_t now) {
  Gauges gauges;
  FleetFilter filter;
  filter.now = now;
  filter.limit = kAtOnce;
  for (bool more = true; more;) {
    const std::vector<ApplianceRecord> appliances =
        store.Read([&](Transaction& work) { return work.ListAppliances(filter); });
    for (const ApplianceRecord& appliance : appliances) gauges.Add(appliance, now);
    more = appliances.size() == static_cast<std::size_t>(kAtOnce);
    if (more) filter.after = PlaceOf(appliances.back(), filter);
  }
  gauges.WriteTo(out);
}

}  // namespace cloudservice
