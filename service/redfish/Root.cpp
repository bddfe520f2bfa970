// SPDX-License-Identifier: Apache-2.0
#include "service/redfish/Service.h"
#include "service/redfish/schema/Csdl.h"

namespace cloudservice {

namespace {

constexpr const char* kRoot = "/redfish/v1/";
constexpr const char* kSessionService = "/redfish/v1/SessionService";
constexpr const char* kSessions = "/redfish/v1/SessionService/Sessions";

Json Features() {
  const Json expand = {{"ExpandAll", true},
                       {"Levels", true},
                       {"Links", true},
                       {"MaxLevels", kMaxLevels},
                       {"NoLinks", true}};
  return {{"ExcerptQuery", false},    {"ExpandQuery", expand}, {"FilterQuery", false},
          {"OnlyMemberQuery", false}, {"SelectQuery", true},   {"TopSkipQuery", true}};
}

}  // namespace

Response RedfishService::GetVersions(const Call&) { return JsonResponse(200, {{"v1", kRoot}}); }

Response RedfishService::GetRoot(const Call&) {
  Json root = {{"@odata.id", kRoot},
               {"@odata.type", std::string("#") + types::kServiceRoot},
               {"Id", "RootService"},
               {"Name", "Cloud service"},
               {"Product", "cloudservice"},
               {"ProtocolFeaturesSupported", Features()},
               {"RedfishVersion", "1.8.0"},
               {"Chassis", Reference("/redfish/v1/Chassis")},
               {"JsonSchemas", Reference("/redfish/v1/JsonSchemas")},
               {"Managers", Reference("/redfish/v1/Managers")},
               {"Registries", Reference("/redfish/v1/Registries")},
               {"SessionService", Reference(kSessionService)},
               {"Links", {{"Sessions", Reference(kSessions)}}}};
  OemOf(root)["Events"] = Reference("/redfish/v1/Oem/Quorvan:Events");
  return JsonResponse(200, root);
}

Response RedfishService::GetServiceDocument(const Call&) {
  Json value = Json::array({{{"name", "Service"}, {"kind", "Singleton"}, {"url", kRoot}}});
  for (const char* name : {"Chassis", "JsonSchemas", "Managers", "Registries", "SessionService"}) {
    value.push_back({{"name", name}, {"kind", "Singleton"}, {"url", std::string(kRoot) + name}});
  }
  value.push_back({{"name", "Sessions"}, {"kind", "Singleton"}, {"url", kSessions}});
  return JsonResponse(200, {{"@odata.context", "/redfish/v1/$metadata"}, {"value", value}});
}

Response RedfishService::GetMetadata(const Call&) {
  Response response;
  response.type = "application/xml; charset=utf-8";
  response.body = MetadataDocument();
  return response;
}

// Tokens come from registrations: nobody opens a session.
Response RedfishService::GetSessionService(const Call&) {
  return JsonResponse(200, {{"@odata.id", kSessionService},
                            {"@odata.type", std::string("#") + types::kSessionService},
                            {"Id", "SessionService"},
                            {"Name", "Sessions"},
                            {"ServiceEnabled", false},
                            {"Sessions", Reference(kSessions)}});
}

Response RedfishService::ListSessions(const Call& call) {
  return JsonResponse(
      200, CollectionView(kSessions, types::kSessionCollection, "Sessions", {}, call.query));
}

Json CollectionPage(const std::string& path, const char* type, const std::string& name,
                    std::size_t count, const std::vector<std::string>& shown,
                    const std::string& next) {
  Json members = Json::array();
  for (const std::string& member : shown) members.push_back(Reference(member));
  Json view = {{"@odata.id", path},
               {"@odata.type", std::string("#") + type},
               {"Name", name},
               {"Members", std::move(members)},
               {"Members@odata.count", count}};
  if (!next.empty()) view["Members@odata.nextLink"] = path + "?" + next;
  return view;
}

Json CollectionView(const std::string& path, const char* type, const std::string& name,
                    const std::vector<std::string>& members, const QueryOptions& query) {
  const Page page = PageOf(query, members.size());
  const auto from = members.begin();
  return CollectionPage(path, type, name, members.size(),
                        {from + static_cast<std::ptrdiff_t>(page.first),
                         from + static_cast<std::ptrdiff_t>(page.end)},
                        NextPage(query, page, members.size()));
}

}  // namespace cloudservice
