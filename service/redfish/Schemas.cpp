// SPDX-License-Identifier: Apache-2.0
// The collections of schemas and registries, and the files of the service's own schemas.
#include "service/redfish/Schemas.h"

#include <map>
#include <string>
#include <vector>

#include "service/http/ResourcePaths.h"
#include "service/redfish/Collections.h"
#include "service/redfish/Refusal.h"
#include "service/redfish/schema/SchemaFiles.h"
#include "service/redfish/schema/SchemaUris.h"
#include "service/redfish/schema/Types.h"

namespace cloudservice {

namespace {

constexpr const char* kSchemas = "/redfish/v1/JsonSchemas";
constexpr const char* kRegistries = "/redfish/v1/Registries";

// The types of the documents that the service answers, by the names of their schemas with version.
const std::map<std::string, std::string>& Described() {
  static const std::map<std::string, std::string> described = [] {
    std::map<std::string, std::string> types;
    for (const Type* type : AllTypes()) {
      const bool resource = type->base == Base::kResource || type->base == Base::kCollection;
      if (resource || type->name == std::string(types::kOem)) {
        types[NamespaceOf(type->name)] = type->name;
      }
    }
    return types;
  }();
  return described;
}

Answer GetSchemaFile(const Call& call, Transaction&) {
  const auto file = SchemaFiles().find(call.names.at(0));
  if (file == SchemaFiles().end()) throw NothingAt(call.target.Path());
  Answer answer;
  const bool xml = file->first.rfind(".xml") != std::string::npos;
  answer.type = xml ? "application/xml; charset=utf-8" : "application/schema+json";
  answer.text = file->second;
  return answer;
}

Answer ListSchemas(const Call& call, Transaction&) {
  std::vector<std::string> members;
  for (const auto& [name, type] : Described()) {
    members.push_back(std::string(kSchemas) + "/" + name);
  }
  return Found(
      CollectionView(kSchemas, types::kSchemaCollection, "JSON schemas", members, call.query));
}

Answer GetSchema(const Call& call, Transaction&) {
  const auto described = Described().find(call.names.at(0));
  if (described == Described().end()) throw NothingAt(call.target.Path());
  const auto& [name, type] = *described;
  const char* where = IsOwnType(type) ? "Uri" : "PublicationUri";
  const Json location = {{"Language", "en"}, {where, JsonSchemaUri(type)}};
  return Found({{"@odata.id", std::string(kSchemas) + "/" + name},
                {"@odata.type", std::string("#") + types::kSchemaFile},
                {"Id", name},
                {"Name", name},
                {"Languages", {"en"}},
                {"Location", Json::array({location})},
                {"Schema", "#" + type}});
}

Answer ListRegistries(const Call& call, Transaction&) {
  const std::vector<std::string> members = {std::string(kRegistries) + "/" + kBaseRegistry};
  return Found(CollectionView(kRegistries, types::kRegistryCollection, "Message registries",
                              members, call.query));
}

Answer GetRegistry(const Call& call, Transaction&) {
  if (call.names.at(0) != kBaseRegistry) throw NothingAt(call.target.Path());
  const Json location = {{"Language", "en"}, {"PublicationUri", kBaseRegistryUri}};
  return Found({{"@odata.id", std::string(kRegistries) + "/" + kBaseRegistry},
                {"@odata.type", std::string("#") + types::kRegistryFile},
                {"Id", kBaseRegistry},
                {"Name", "Base messages"},
                {"Languages", {"en"}},
                {"Location", Json::array({location})},
                {"Registry", kBaseRegistry}});
}

}  // namespace

void AddSchemas(Routes& routes) {
  constexpr Access kAppliance = Access::kAppliance;
  const std::string schemas = kSchemas;
  const std::string registries = kRegistries;
  routes.Add("GET", std::string(kRootPath) + "/Schemas/*",
             {Access::kAnyone, QueryUse::kNone, GetSchemaFile});
  routes.Add("GET", schemas, {kAppliance, QueryUse::kCollection, ListSchemas});
  routes.Add("GET", schemas + "/*", {kAppliance, QueryUse::kResource, GetSchema});
  routes.Add("GET", registries, {kAppliance, QueryUse::kCollection, ListRegistries});
  routes.Add("GET", registries + "/*", {kAppliance, QueryUse::kResource, GetRegistry});
}

}  // namespace cloudservice
