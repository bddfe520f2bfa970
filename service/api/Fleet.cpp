// SPDX-License-Identifier: Apache-2.0
// The list of all appliances, one appliance, and its open alarms.
#include <algorithm>
#include <array>

#include "service/api/Api.h"
#include "service/api/Error.h"
#include "service/api/Find.h"
#include "service/store/Lists.h"

namespace cloudservice {

namespace {

constexpr std::int64_t kMaxOffset = 1000000000;

// The parameter's value as the value of an enumeration whose values have the order of `words`.
template <typename T>
std::optional<T> NumberedOf(const Query& query, const char* name,
                            const std::array<const char*, 3>& words) {
  const auto word = query.OneOf(name, {words.begin(), words.end()});
  if (!word) return std::nullopt;
  return static_cast<T>(std::find(words.begin(), words.end(), *word) - words.begin());
}

// The parameter "after" repeats "next" of an earlier answer: an array of the order and the place in
// it.
constexpr const char* kNoPlace = "\"after\" is no \"next\" of a list in this order.";

std::string PlaceText(const std::string& sort, const FleetPlace& place) {
  Json text = Json::array({sort});
  for (const std::int64_t rank : place.ranks) text.push_back(rank);
  text.push_back(place.label);
  text.push_back(place.uuid);
  return CompactText(text);
}

FleetPlace ParsePlace(const std::string& text, const std::string& sort, const FleetFilter& filter) {
  const Json parts = Json::parse(text, nullptr, false);
  FleetPlace place = PlaceOf({}, filter);
  const std::size_t ranks = place.ranks.size();
  if (!parts.is_array() || parts.size() != ranks + 3 || parts[0] != sort ||
      !parts[ranks + 1].is_string() || !parts[ranks + 2].is_string()) {
    throw ApiError(400, kNoPlace);
  }
  for (std::size_t i = 0; i < ranks; ++i) {
    if (!parts[i + 1].is_number_integer()) throw ApiError(400, kNoPlace);
    place.ranks[i] = parts[i + 1].get<std::int64_t>();
  }
  const bool byState = filter.sort == FleetFilter::Sort::kState;
  const auto states = static_cast<std::int64_t>(kStateNames.size());
  if (byState && (place.ranks[0] < 0 || place.ranks[0] >= states)) throw ApiError(400, kNoPlace);
  place.label = parts[ranks + 1].get<std::string>();
  place.uuid = parts[ranks + 2].get<std::string>();
  return place;
}

// The order that the query asks for; a "-" before the word means descending.
std::string SortOf(const Query& query) {
  static const std::vector<std::string> kDirections = {
      "name",    "-name",         "state",          "-state",     "alarms",
      "-alarms", "lastHeartbeat", "-lastHeartbeat", "registered", "-registered"};
  return query.OneOf("sort", kDirections).value_or("name");
}

FleetFilter FilterOf(const Query& query, std::int64_t now) {
  static const std::vector<std::string> kSorts = {"name", "state", "alarms", "lastHeartbeat",
                                                  "registered"};
  FleetFilter filter;
  filter.now = now;
  filter.words = query.Sought();
  filter.state = NumberedOf<State>(query, "state", kStateNames);
  filter.severity = NumberedOf<Severity>(query, "severity", kSeverityNames);
  const std::string sort = SortOf(query);
  filter.descending = sort.front() == '-';
  const auto known =
      std::find(kSorts.begin(), kSorts.end(), sort.substr(filter.descending ? 1 : 0));
  filter.sort = static_cast<FleetFilter::Sort>(known - kSorts.begin());
  filter.limit = query.Limit();
  filter.offset = query.Number("offset", 0, kMaxOffset).value_or(0);
  if (const auto after = query.Text("after")) {
    if (filter.offset > 0) throw ApiError(400, "\"after\" goes without \"offset\".");
    filter.after = ParsePlace(*after, sort, filter);
  }
  return filter;
}

Json StatesView(const StateCounts& states) {
  Json view = Json::object();
  for (std::size_t i = 0; i < states.size(); ++i) view[kStateNames.at(i)] = states.at(i);
  return view;
}

}  // namespace

Response OperatorApi::ListAppliances(const Call& call) {
  FleetFilter filter = FilterOf(call.query, m_clock());
  const auto limit = static_cast<std::size_t>(filter.limit++);
  return m_store.Read([&](Transaction& store) {
    std::vector<ApplianceRecord> appliances = store.ListAppliances(filter);
    Json next;
    if (appliances.size() > limit) {
      appliances.resize(limit);
      next = PlaceText(SortOf(call.query), PlaceOf(appliances.back(), filter));
    }
    Json items = Json::array();
    for (const ApplianceRecord& appliance : appliances) {
      items.push_back(ApplianceView(appliance, filter.now));
    }
    return ApiAnswer(200, {{"total", store.CountAppliances(filter)},
                           {"counts", StatesView(store.CountStates(filter.now))},
                           {"alarms", CountsView(store.CountTotals().alarms)},
                           {"items", std::move(items)},
                           {"next", std::move(next)}});
  });
}

Response OperatorApi::GetAppliance(const Call& call) {
  return m_store.Read([&](Transaction& store) {
    const ApplianceRecord appliance = FindAppliance(store, call.name);
    Json view = ApplianceView(appliance, m_clock());
    view["heartbeats"] = appliance.heartbeat.count;
    view["updated"] = UtcTime(appliance.changed);
    const std::optional<ManagerRecord> manager = store.FindManager(call.name);
    view["document"] = manager ? ParseStored(manager->document) : Json();
    Json list = Json::array();
    const auto add = [&](const ChassisRecord& chassis) {
      const Json name = TextOrNull(ParseStored(chassis.document), "Name");
      list.push_back({{"id", chassis.id},
                      {"name", name.is_string() ? name : Json("Chassis " + chassis.id)},
                      {"created", UtcTime(chassis.created)}});
    };
    ForEach(store, add, &Transaction::ListChassisRecords, call.name);
    view["chassisList"] = std::move(list);
    return ApiAnswer(200, view);
  });
}

Response OperatorApi::RemoveAppliance(const Call& call) {
  const std::string name = m_store.Write([&](Transaction& store) {
    const ApplianceRecord appliance = FindAppliance(store, call.name);
    store.DeleteManager(call.name);
    return appliance.shown.name;
  });
  m_log.Line("manager removed: " + name + " (UUID " + call.name + ") by operator " + call.who.name);
  Response response;
  response.status = 204;
  return response;
}

Response OperatorApi::ListAlarms(const Call& call) {
  std::vector<AlarmRecord> alarms = m_store.Read([&](Transaction& store) {
    FindAppliance(store, call.name);
    return AllOf(store, &Transaction::ListOpenAlarms, call.name);
  });
  std::stable_sort(alarms.begin(), alarms.end(), [](const AlarmRecord& a, const AlarmRecord& b) {
    return SeverityOf(a.severity) < SeverityOf(b.severity);
  });
  Json items = Json::array();
  for (const AlarmRecord& alarm : alarms) items.push_back(AlarmView(alarm));
  return ApiAnswer(200, {{"items", std::move(items)}});
}

}  // namespace cloudservice
