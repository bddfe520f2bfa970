// SPDX-License-Identifier: Apache-2.0
// Finding the appliances and documents that operators' requests name.
#include "service/api/Find.h"

#include <utility>

#include "service/api/Error.h"
#include "service/http/ResourcePaths.h"

namespace cloudservice {

namespace {

// The last segment of an address that consists of `folder` and one segment; empty for any other
// address.
std::string NameIn(const std::string& folder, const std::string& uri) {
  if (uri.rfind(folder, 0) != 0) return "";
  std::string name = uri.substr(folder.size());
  return name.find('/') == std::string::npos ? name : "";
}

}  // namespace

ApplianceRecord FindAppliance(Transaction& store, const std::string& uuid) {
  std::optional<ApplianceRecord> appliance = store.FindAppliance(uuid);
  if (!appliance) throw Unknown("appliance " + uuid);
  return *std::move(appliance);
}

DocumentRecord FindDocument(Transaction& store, const std::string& uuid, const std::string& uri) {
  FindAppliance(store, uuid);
  std::optional<DocumentRecord> document = store.FindDocument(uuid, DocumentAt(uri));
  if (!document) throw Unknown("document " + uri);
  return *std::move(document);
}

std::string UriOf(const DocumentName& name) {
  switch (name.kind) {
    case DocumentName::Kind::kManager:
      return ManagerPath(name.name);
    case DocumentName::Kind::kChassis:
      return ChassisPath(name.name);
    case DocumentName::Kind::kResource:
      break;
  }
  return name.name;
}

DocumentName DocumentAt(const std::string& uri) {
  std::string name = NameIn(ManagerPath(""), uri);
  if (!name.empty()) return {DocumentName::Kind::kManager, std::move(name)};
  name = NameIn(ChassisPath(""), uri);
  if (!name.empty()) return {DocumentName::Kind::kChassis, std::move(name)};
  return {DocumentName::Kind::kResource, uri};
}

}  // namespace cloudservice
