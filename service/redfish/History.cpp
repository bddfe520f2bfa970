// SPDX-License-Identifier: Apache-2.0
#include "service/json/Numbers.h"
#include "service/redfish/Refusal.h"
#include "service/redfish/Service.h"
#include "service/util/Text.h"

namespace cloudservice {

// What a request for a history asks.
struct HistoryQuery {
  std::optional<std::string> member;
  std::int64_t after = 0;
};

namespace {

// Values in one answer; what follows is a link away.
constexpr std::int64_t kPage = 10000;
// Segments of the path of a manager or a chassis itself.
constexpr std::size_t kOwnDocument = 4;
// Segments of a history's path behind those of its document.
constexpr std::size_t kHistorySegments = 2;
const std::string kType = std::string("#") + types::kHistory;

Refusal BadQuery(const std::string& text) { return {400, {"QueryCombinationInvalid", {}}, text}; }

HistoryQuery CheckedQuery(const Target& target) {
  const auto parameters = target.Parameters();
  if (!parameters) throw BadQuery("The query is not made of name=value, percent-encoded.");
  HistoryQuery query;
  std::optional<std::string> after;
  for (const auto& [name, value] : *parameters) {
    if (name == "pretty") continue;
    if (name != "member" && name != "after") {
      throw BadQuery("A history is asked for with member and after only.");
    }
    std::optional<std::string>& given = name == "member" ? query.member : after;
    if (given) throw BadQuery("\"" + name + "\" is given twice.");
    given = value;
  }
  if (query.member && query.member->empty()) throw BadQuery("\"member\" is empty.");
  if (after && !query.member) throw BadQuery("\"after\" goes with \"member\".");
  if (after) query.after = AfterOf(*after);
  return query;
}

Json ValueView(const HistoryValue& value) {
  return {{"Time", RedfishTime(value.time)}, {"Value", Json::parse(value.value)}};
}

}  // namespace

Response RedfishService::GetChassisHistory(const Call& call) {
  OwnChassisId(call);
  return GetHistory(call);
}

Response RedfishService::GetManagerHistory(const Call& call) {
  RequireOwn(call, call.names.at(0));
  return GetHistory(call);
}

Response RedfishService::GetHistory(const Call& call) {
  Target document = call.target;
  document.segments.resize(document.segments.size() - kHistorySegments);
  const std::string path = document.Path();
  if (document.segments.size() > kOwnDocument && !m_store.HasResource(call.owner->uuid, path)) {
    throw NothingAt(path);
  }
  const HistoryQuery query = CheckedQuery(call.target);
  return query.member ? GetHistoryValues(call, path, query) : ListHistoryMembers(call, path);
}

Response RedfishService::ListHistoryMembers(const Call& call, const std::string& path) {
  const std::int64_t since = m_clock() - m_retention.history;
  Json members = m_store.ListHistoryMembers(call.owner->uuid, path, since);
  return JsonResponse(200, {{"@odata.id", call.target.Path()},
                            {"@odata.type", kType},
                            {"Id", "History"},
                            {"Name", "History"},
                            {"Resource", Reference(path)},
                            {"MemberNames", members},
                            {"MemberNames@odata.count", members.size()}});
}

Response RedfishService::GetHistoryValues(const Call& call, const std::string& path,
                                          const HistoryQuery& query) {
  const std::int64_t since = m_clock() - m_retention.history;
  std::vector<HistoryValue> values =
      m_store.ListHistory({call.owner->uuid, path, *query.member, since, query.after, kPage + 1});
  if (values.empty() && query.after == 0) {
    throw Refusal(404, {"ResourceMissingAtURI", {call.request.target}},
                  path + " has no history of \"" + *query.member + "\".");
  }
  const bool more = values.size() > static_cast<std::size_t>(kPage);
  if (more) values.pop_back();
  const std::string asked = call.target.Path() + "?member=" + PercentEncoded(*query.member);
  Json view = {{"@odata.id", asked},     {"@odata.type", kType},        {"Id", "History"},
               {"Name", "History"},      {"Resource", Reference(path)}, {"Member", *query.member},
               {"Values", Json::array()}};
  for (const HistoryValue& value : values) view["Values"].push_back(ValueView(value));
  if (more) {
    view["Values@odata.nextLink"] =
        asked + "&after=" + std::to_string(values.back().id) + call.query.others;
  }
  return JsonResponse(200, view);
}

Readings RedfishService::ReadingsOf(const Call& call, const std::optional<std::string>& chassis,
                                    const Json& patch) const {
  Readings readings;
  readings.path = call.target.Path();
  readings.manager = call.owner->uuid;
  readings.chassis = chassis;
  readings.time = m_clock();
  readings.numbers = NumbersOf(patch);
  return readings;
}

}  // namespace cloudservice
