#include <algorithm>
#include <array>

#include "service/api/Api.h"
#include "service/api/Error.h"

namespace cloudservice {

namespace {

constexpr std::int64_t kMaxOffset = 1000000000;

// The parameter's value as that of an enumeration that counts up with the words.
template <typename T>
std::optional<T> NumberedOf(const Query& query, const char* name,
                            const std::array<const char*, 3>& words) {
  const auto word = query.OneOf(name, {words.begin(), words.end()});
  if (!word) return std::nullopt;
  return static_cast<T>(std::find(words.begin(), words.end(), *word) - words.begin());
}

FleetFilter FilterOf(const Query& query, std::int64_t now) {
  static const std::vector<std::string> kSorts = {"name", "state", "alarms", "lastHeartbeat",
                                                  "registered"};
  static const std::vector<std::string> kDirections = {
      "name",    "-name",         "state",          "-state",     "alarms",
      "-alarms", "lastHeartbeat", "-lastHeartbeat", "registered", "-registered"};
  FleetFilter filter;
  filter.now = now;
  filter.text = query.Sought();
  filter.state = NumberedOf<State>(query, "state", kStateNames);
  filter.severity = NumberedOf<Severity>(query, "severity", kSeverityNames);
  std::string sort = query.OneOf("sort", kDirections).value_or("name");
  filter.descending = sort.front() == '-';
  if (filter.descending) sort.erase(0, 1);
  filter.sort = static_cast<FleetFilter::Sort>(std::find(kSorts.begin(), kSorts.end(), sort) -
                                               kSorts.begin());
  filter.limit = query.Limit();
  filter.offset = query.Number("offset", 0, kMaxOffset).value_or(0);
  return filter;
}

Json StatesView(const StateCounts& states) {
  Json view = Json::object();
  for (std::size_t i = 0; i < states.size(); ++i) view[kStateNames.at(i)] = states.at(i);
  return view;
}

}  // namespace

ApplianceRecord OperatorApi::FindAppliance(const std::string& uuid) {
  std::optional<ApplianceRecord> appliance = m_store.FindAppliance(uuid);
  if (!appliance) throw Unknown("appliance " + uuid);
  return *std::move(appliance);
}

Response OperatorApi::ListAppliances(const Call& call) {
  const FleetFilter filter = FilterOf(call.query, m_clock());
  Json items = Json::array();
  for (const ApplianceRecord& appliance : m_store.ListAppliances(filter)) {
    items.push_back(ApplianceView(appliance, filter.now));
  }
  return ApiAnswer(200, {{"total", m_store.CountAppliances(filter)},
                         {"counts", StatesView(m_store.CountStates(filter.now))},
                         {"alarms", CountsView(m_store.CountTotals().alarms)},
                         {"items", std::move(items)}});
}

Response OperatorApi::GetAppliance(const Call& call) {
  const ApplianceRecord appliance = FindAppliance(call.uuid);
  Json view = ApplianceView(appliance, m_clock());
  view["heartbeats"] = appliance.heartbeat.count;
  view["updated"] = UtcTime(appliance.changed);
  const std::optional<ManagerRecord> manager = m_store.FindManager(call.uuid);
  view["document"] = manager ? ParseStored(manager->document) : Json();
  Json list = Json::array();
  for (const ChassisRecord& chassis : m_store.ListChassisRecords(call.uuid)) {
    const Json name = TextOrNull(ParseStored(chassis.document), "Name");
    list.push_back({{"id", chassis.id},
                    {"name", name.is_string() ? name : Json("Chassis " + chassis.id)},
                    {"created", UtcTime(chassis.created)}});
  }
  view["chassisList"] = std::move(list);
  return ApiAnswer(200, view);
}

Response OperatorApi::ListAlarms(const Call& call) {
  FindAppliance(call.uuid);
  std::vector<AlarmRecord> alarms = m_store.ListOpenAlarms(call.uuid);
  std::stable_sort(alarms.begin(), alarms.end(), [](const AlarmRecord& a, const AlarmRecord& b) {
    return SeverityOf(a.severity) < SeverityOf(b.severity);
  });
  Json items = Json::array();
  for (const AlarmRecord& alarm : alarms) items.push_back(AlarmView(alarm));
  return ApiAnswer(200, {{"items", std::move(items)}});
}

}  // namespace cloudservice
