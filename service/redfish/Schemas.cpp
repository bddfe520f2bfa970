// SPDX-License-Identifier: Apache-2.0
#include "service/redfish/Service.h"
#include "service/redfish/schema/Csdl.h"

namespace cloudservice {

namespace {

constexpr const char* kSchemas = "/redfish/v1/JsonSchemas";
constexpr const char* kRegistries = "/redfish/v1/Registries";

// The types of which documents are answered, by the names of their schemas.
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

}  // namespace

Response RedfishService::GetSchemaFile(const Call& call) {
  const auto file = SchemaFiles().find(call.names.at(0));
  if (file == SchemaFiles().end()) throw NothingAt(call.target.Path());
  Response response;
  const bool xml = file->first.rfind(".xml") != std::string::npos;
  response.type = xml ? "application/xml; charset=utf-8" : "application/schema+json";
  response.body = file->second;
  return response;
}

Response RedfishService::ListSchemas(const Call& call) {
  std::vector<std::string> members;
  for (const auto& [name, type] : Described()) {
    members.push_back(std::string(kSchemas) + "/" + name);
  }
  return JsonResponse(
      200, CollectionView(kSchemas, types::kSchemaCollection, "JSON schemas", members, call.query));
}

Response RedfishService::GetSchema(const Call& call) {
  const auto described = Described().find(call.names.at(0));
  if (described == Described().end()) throw NothingAt(call.target.Path());
  const auto& [name, type] = *described;
  const char* where = IsOwnType(type) ? "Uri" : "PublicationUri";
  const Json location = {{"Language", "en"}, {where, JsonSchemaUri(type)}};
  return JsonResponse(200, {{"@odata.id", std::string(kSchemas) + "/" + name},
                            {"@odata.type", std::string("#") + types::kSchemaFile},
                            {"Id", name},
                            {"Name", name},
                            {"Languages", {"en"}},
                            {"Location", Json::array({location})},
                            {"Schema", "#" + type}});
}

Response RedfishService::ListRegistries(const Call& call) {
  const std::vector<std::string> members = {std::string(kRegistries) + "/" + kBaseRegistry};
  return JsonResponse(200, CollectionView(kRegistries, types::kRegistryCollection,
                                          "Message registries", members, call.query));
}

Response RedfishService::GetRegistry(const Call& call) {
  if (call.names.at(0) != kBaseRegistry) throw NothingAt(call.target.Path());
  const Json location = {{"Language", "en"}, {"PublicationUri", kBaseRegistryUri}};
  return JsonResponse(200, {{"@odata.id", std::string(kRegistries) + "/" + kBaseRegistry},
                            {"@odata.type", std::string("#") + types::kRegistryFile},
                            {"Id", kBaseRegistry},
                            {"Name", "Base messages"},
                            {"Languages", {"en"}},
                            {"Location", Json::array({location})},
                            {"Registry", kBaseRegistry}});
}

}  // namespace cloudservice
