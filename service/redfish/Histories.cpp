// SPDX-License-Identifier: Apache-2.0
// Histories of the numbers in documents.
#include "service/redfish/Histories.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "service/http/ResourcePaths.h"
#include "service/redfish/Refusal.h"
#include "service/redfish/Shape.h"
#include "service/redfish/Views.h"
#include "service/redfish/schema/Types.h"
#include "service/store/Lists.h"
#include "service/util/Text.h"

namespace cloudservice {

namespace {

// The query of a request for a history. Without a member, it asks for the names of the numbers.
struct HistoryQuery {
  std::optional<std::string> member;
  std::int64_t after = 0;
};

// Readings in one answer; a link leads to those that follow.
constexpr std::int64_t kPage = 10000;
// Number of segments in the path of a manager or a chassis itself.
constexpr std::size_t kOwnDocument = 4;
// Number of segments that the path of a history has more than the path of its document.
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

Answer ListMembers(const Call& call, Transaction& store, const std::string& path,
                   std::int64_t since) {
  Json members = AllOf(store, &Transaction::ListHistoryMembers, call.owner->uuid, path, since);
  return Found({{"@odata.id", call.target.Path()},
                {"@odata.type", kType},
                {"Id", "History"},
                {"Name", "History"},
                {"Resource", Reference(path)},
                {"MemberNames", members},
                {"MemberNames@odata.count", members.size()}});
}

Answer GetValues(const Call& call, Transaction& store, const std::string& path,
                 const HistoryQuery& query, std::int64_t since) {
  std::vector<HistoryValue> values =
      store.ListHistory({call.owner->uuid, path, *query.member, since, query.after, kPage + 1});
  if (values.empty() && query.after == 0) {
    throw Refusal(404, {"ResourceMissingAtURI", {call.request.target.Text()}},
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
  return Found(std::move(view));
}

}  // namespace

void Histories::AddTo(Routes& routes) const {
  const auto get = [*this](const Call& call, Transaction& store) { return Get(call, store); };
  for (const char* below : {"", "/**"}) {
    const std::string end = std::string(below) + kHistoryBelow;
    routes.Add("GET", ManagerPath("*") + end, {Access::kItsManager, QueryUse::kNone, get});
    routes.Add("GET", ChassisPath("*") + end, {Access::kItsChassis, QueryUse::kNone, get});
  }
}

Answer Histories::Get(const Call& call, Transaction& store) const {
  const Target document = call.target.Above(kHistorySegments);
  const std::string path = document.Path();
  if (document.Segments().size() > kOwnDocument && !store.HasResource(call.owner->uuid, path)) {
    throw NothingAt(path);
  }
  const HistoryQuery query = CheckedQuery(call.target);
  const std::int64_t since = m_clock() - m_retention;
  return query.member ? GetValues(call, store, path, query, since)
                      : ListMembers(call, store, path, since);
}

}  // namespace cloudservice
