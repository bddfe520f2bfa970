// SPDX-License-Identifier: Apache-2.0
// The documents that an appliance has sent.
#include <algorithm>
#include <utility>
#include <vector>

#include "service/api/Api.h"
#include "service/api/Error.h"
#include "service/api/Find.h"
#include "service/store/Lists.h"

namespace cloudservice {

namespace {

// "Thermal" of "#Thermal.v1_6_2.Thermal".
Json TypeView(const Json& document) {
  const std::optional<std::string> type = TextMember(document, "@odata.type");
  if (!type) return nullptr;
  const std::size_t dot = type->rfind('.');
  if (dot != std::string::npos) return type->substr(dot + 1);
  return type->rfind('#', 0) == 0 ? type->substr(1) : *type;
}

Json ResourceView(const DocumentRecord& record) {
  const Json document = ParseStored(record.document);
  const std::string uri = UriOf(record.name);
  return {{"uri", uri},
          {"type", TypeView(document)},
          {"name", TextMember(document, "Name").value_or(uri.substr(uri.rfind('/') + 1))},
          {"updated", UtcTime(record.changed)}};
}

}  // namespace

// In the order of their addresses.
Response OperatorApi::ListResources(const Call& call) {
  // Of the documents only what is shown is kept: all together may be large.
  std::vector<std::pair<std::string, Json>> views = m_store.Read([&](Transaction& store) {
    FindAppliance(store, call.name);
    std::vector<std::pair<std::string, Json>> made;
    const auto add = [&](const DocumentRecord& record) {
      made.emplace_back(UriOf(record.name), ResourceView(record));
    };
    ForEach(store, add, &Transaction::ListDocuments, call.name);
    return made;
  });
  std::sort(views.begin(), views.end(),
            [](const auto& a, const auto& b) { return a.first < b.first; });
  Json items = Json::array();
  for (auto& view : views) items.push_back(std::move(view.second));
  return ApiAnswer(200, {{"items", std::move(items)}});
}

Response OperatorApi::GetResource(const Call& call) {
  const std::string uri = call.query.RequiredText("uri");
  const DocumentRecord record =
      m_store.Read([&](Transaction& store) { return FindDocument(store, call.name, uri); });
  return ApiAnswer(200, {{"uri", uri},
                         {"updated", UtcTime(record.changed)},
                         {"document", ParseStored(record.document)}});
}

}  // namespace cloudservice
