// SPDX-License-Identifier: Apache-2.0
#include "service/api/Api.h"
#include "service/api/Error.h"

namespace cloudservice {

namespace {

// "Thermal" of "#Thermal.v1_6_2.Thermal".
Json TypeView(const Json& document) {
  const Json type = TextOrNull(document, "@odata.type");
  if (!type.is_string()) return nullptr;
  const auto text = type.get<std::string>();
  const std::size_t dot = text.rfind('.');
  if (dot != std::string::npos) return text.substr(dot + 1);
  return text.rfind('#', 0) == 0 ? text.substr(1) : text;
}

Json ResourceView(const DocumentRecord& record) {
  const Json document = ParseStored(record.document);
  const Json name = TextOrNull(document, "Name");
  return {{"uri", record.path},
          {"type", TypeView(document)},
          {"name", name.is_string() ? name : Json(record.path.substr(record.path.rfind('/') + 1))},
          {"updated", UtcTime(record.changed)}};
}

}  // namespace

DocumentRecord OperatorApi::FindDocument(const Call& call) {
  FindAppliance(call.uuid);
  const std::string uri = call.query.RequiredText("uri");
  std::optional<DocumentRecord> document = m_store.FindDocument(call.uuid, uri);
  if (!document) throw Unknown("document " + uri);
  return *std::move(document);
}

Response OperatorApi::ListResources(const Call& call) {
  FindAppliance(call.uuid);
  Json items = Json::array();
  for (const DocumentRecord& record : m_store.ListDocuments(call.uuid)) {
    items.push_back(ResourceView(record));
  }
  return ApiAnswer(200, {{"items", std::move(items)}});
}

Response OperatorApi::GetResource(const Call& call) {
  const DocumentRecord record = FindDocument(call);
  return ApiAnswer(200, {{"uri", record.path},
                         {"updated", UtcTime(record.changed)},
                         {"document", ParseStored(record.document)}});
}

}  // namespace cloudservice
