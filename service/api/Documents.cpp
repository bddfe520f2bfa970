// SPDX-License-Identifier: Apache-2.0
// The documents that an appliance has sent.
#include <algorithm>

#include "service/api/Api.h"
#include "service/api/Error.h"
#include "service/api/Find.h"

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
  std::vector<DocumentRecord> records = m_store.Read([&](Transaction& store) {
    FindAppliance(store, call.uuid);
    return store.ListDocuments(call.uuid);
  });
  std::sort(records.begin(), records.end(), [](const DocumentRecord& a, const DocumentRecord& b) {
    return UriOf(a.name) < UriOf(b.name);
  });
  Json items = Json::array();
  for (const DocumentRecord& record : records) items.push_back(ResourceView(record));
  return ApiAnswer(200, {{"items", std::move(items)}});
}

Response OperatorApi::GetResource(const Call& call) {
  const std::string uri = call.query.RequiredText("uri");
  const DocumentRecord record =
      m_store.Read([&](Transaction& store) { return FindDocument(store, call.uuid, uri); });
  return ApiAnswer(200, {{"uri", uri},
                         {"updated", UtcTime(record.changed)},
                         {"document", ParseStored(record.document)}});
}

}  // namespace cloudservice
