#include <algorithm>
#include <deque>
#include <tuple>

#include "service/Text.h"
#include "service/api/Api.h"
#include "service/api/Error.h"

namespace cloudservice {

namespace {

constexpr std::int64_t kPage = 100;
constexpr std::int64_t kMaxPage = 500;
constexpr std::size_t kMaxText = 200;
constexpr std::int64_t kMaxOffset = 1000000000;

// An appliance with what it is filtered and sorted by.
struct Entry {
  const Json* view = nullptr;
  State state = State::kAlive;
  AlarmCounts alarms = {};
  std::string key;  // the name, for sorting
};

struct Wish {
  std::optional<std::string> text;  // in lower case
  std::optional<std::string> state;
  std::optional<std::string> severity;
  std::string sort;
  bool descending = false;
};

Wish WishOf(const Query& query) {
  Wish wish;
  wish.text = query.Text("q", kMaxText);
  if (wish.text) wish.text = Lower(*wish.text);
  wish.state = query.OneOf("state", {"alive", "late", "offline"});
  wish.severity = query.OneOf("severity", {"Fault", "Alarm", "Warning"});
  wish.sort = query
                  .OneOf("sort", {"name", "-name", "state", "-state", "alarms", "-alarms",
                                  "lastHeartbeat", "-lastHeartbeat", "registered", "-registered"})
                  .value_or("name");
  wish.descending = wish.sort.front() == '-';
  if (wish.descending) wish.sort.erase(0, 1);
  return wish;
}

bool HoldsText(const Json& view, const std::string& text) {
  const auto names = {"name", "uuid", "model", "serial", "firmware", "address", "account"};
  return std::any_of(names.begin(), names.end(), [&](const char* name) {
    const Json& value = view.at(name);
    return value.is_string() && Lower(value.get<std::string>()).find(text) != std::string::npos;
  });
}

bool IsWished(const Entry& entry, const Wish& wish) {
  if (wish.state && entry.view->at("state") != *wish.state) return false;
  if (wish.severity && entry.view->at("alarms").at(*wish.severity) == 0) return false;
  return !wish.text || HoldsText(*entry.view, *wish.text);
}

// None, then the more and the worse the later.
std::tuple<int, std::int64_t, std::int64_t, std::int64_t> Weight(const AlarmCounts& alarms) {
  const std::optional<Severity> worst = Worst(alarms);
  const int rank = worst ? static_cast<int>(alarms.size()) - static_cast<int>(*worst) : 0;
  return {rank, alarms[0], alarms[1], alarms[2]};
}

bool IsBefore(const Entry& a, const Entry& b, const std::string& sort) {
  if (sort == "state") return a.state < b.state;
  if (sort == "alarms") return Weight(a.alarms) < Weight(b.alarms);
  if (sort == "name") return a.key < b.key;
  // Times compare as texts; null is before them.
  return a.view->at(sort) < b.view->at(sort);
}

void Sort(std::vector<Entry>& entries, const Wish& wish) {
  std::sort(entries.begin(), entries.end(), [&](const Entry& a, const Entry& b) {
    const Entry& first = wish.descending ? b : a;
    const Entry& second = wish.descending ? a : b;
    if (IsBefore(first, second, wish.sort)) return true;
    if (IsBefore(second, first, wish.sort)) return false;
    return std::tie(a.key, a.view->at("uuid").get_ref<const std::string&>()) <
           std::tie(b.key, b.view->at("uuid").get_ref<const std::string&>());
  });
}

Json StatesView(const std::array<std::int64_t, 3>& states) {
  Json view = Json::object();
  for (std::size_t i = 0; i < states.size(); ++i) view[kStateNames.at(i)] = states.at(i);
  return view;
}

}  // namespace

std::map<std::string, AlarmCounts> OperatorApi::CountAlarms(
    const std::optional<std::string>& uuid) {
  std::map<std::string, AlarmCounts> counts;
  for (const OpenAlarmCount& open : m_store.CountOpenAlarms(uuid)) {
    const auto severity = static_cast<std::size_t>(SeverityOf(open.severity));
    counts[open.manager].at(severity) += open.count;
  }
  return counts;
}

ApplianceRecord OperatorApi::FindAppliance(const std::string& uuid) {
  std::optional<ApplianceRecord> appliance = m_store.FindAppliance(uuid);
  if (!appliance) throw Unknown("appliance " + uuid);
  return *std::move(appliance);
}

Response OperatorApi::ListAppliances(const Call& call) {
  const Wish wish = WishOf(call.query);
  const std::int64_t limit = call.query.Number("limit", 1, kMaxPage).value_or(kPage);
  const std::int64_t offset = call.query.Number("offset", 0, kMaxOffset).value_or(0);
  const std::int64_t now = m_clock();
  auto alarms = CountAlarms(std::nullopt);
  std::array<std::int64_t, 3> states = {};
  AlarmCounts all = {};
  std::deque<Json> views;
  std::vector<Entry> entries;
  for (const ApplianceRecord& appliance : m_store.ListAppliances()) {
    Entry entry;
    entry.alarms = alarms[appliance.manager.uuid];
    entry.view = &views.emplace_back(ApplianceView(appliance, entry.alarms, now));
    entry.state = StateOf(appliance.manager, now);
    entry.key = Lower(entry.view->at("name").get<std::string>());
    ++states.at(static_cast<std::size_t>(entry.state));
    for (std::size_t i = 0; i < all.size(); ++i) all.at(i) += entry.alarms.at(i);
    if (IsWished(entry, wish)) entries.push_back(std::move(entry));
  }
  Sort(entries, wish);
  Json items = Json::array();
  const auto size = static_cast<std::int64_t>(entries.size());
  for (std::int64_t i = offset; i < std::min(size, offset + limit); ++i) {
    items.push_back(*entries[static_cast<std::size_t>(i)].view);
  }
  return ApiAnswer(200, {{"total", size},
                         {"counts", StatesView(states)},
                         {"alarms", CountsView(all)},
                         {"items", std::move(items)}});
}

Response OperatorApi::GetAppliance(const Call& call) {
  const ApplianceRecord appliance = FindAppliance(call.uuid);
  Json view = ApplianceView(appliance, CountAlarms(call.uuid)[call.uuid], m_clock());
  view["heartbeats"] = appliance.manager.heartbeat.count;
  view["updated"] = UtcTime(appliance.changed);
  view["document"] = ParseStored(appliance.manager.document);
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
