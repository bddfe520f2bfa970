// SPDX-License-Identifier: Apache-2.0
// Addresses of schemas.
#include "service/redfish/schema/SchemaUris.h"

#include "service/redfish/schema/Types.h"

namespace cloudservice {

namespace {

constexpr const char* kPublished = "http://redfish.dmtf.org/schemas/v1/";
constexpr const char* kOwn = "/redfish/v1/Schemas/";

std::string FolderOf(const std::string& name) { return IsOwnType(name) ? kOwn : kPublished; }

}  // namespace

std::string JsonSchemaUri(const std::string& type) {
  return FolderOf(type) + NamespaceOf(type) + ".json";
}

std::string CsdlUri(const std::string& schema) { return FolderOf(schema) + schema + "_v1.xml"; }

}  // namespace cloudservice
