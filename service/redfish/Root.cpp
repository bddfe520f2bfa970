// SPDX-License-Identifier: Apache-2.0
// The service root, and the documents that describe the service as a whole.
#include "service/redfish/Root.h"

#include <string>

#include "service/http/ResourcePaths.h"
#include "service/redfish/Collections.h"
#include "service/redfish/Shape.h"
#include "service/redfish/schema/Csdl.h"

namespace cloudservice {

namespace {

// Clients expect the root's path with a slash at its end.
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

Answer GetVersions() { return Found({{"v1", kRoot}}); }

Answer GetRoot() {
  Json root = {{"@odata.id", kRoot},
               {"@odata.type", std::string("#") + types::kServiceRoot},
               {"Id", "RootService"},
               {"Name", "Cloud service"},
               {"Product", "cloudservice"},
               {"ProtocolFeaturesSupported", Features()},
               {"RedfishVersion", "1.8.0"},
               {"Chassis", Reference(kChassisPath)},
               {"JsonSchemas", Reference("/redfish/v1/JsonSchemas")},
               {"Managers", Reference(kManagersPath)},
               {"Registries", Reference("/redfish/v1/Registries")},
               {"SessionService", Reference(kSessionService)},
               {"Links", {{"Sessions", Reference(kSessions)}}}};
  OemOf(root)["Events"] = Reference(kEventsPath);
  return Found(root);
}

Answer GetServiceDocument() {
  Json value = Json::array({{{"name", "Service"}, {"kind", "Singleton"}, {"url", kRoot}}});
  for (const char* name : {"Chassis", "JsonSchemas", "Managers", "Registries", "SessionService"}) {
    value.push_back({{"name", name}, {"kind", "Singleton"}, {"url", std::string(kRoot) + name}});
  }
  value.push_back({{"name", "Sessions"}, {"kind", "Singleton"}, {"url", kSessions}});
  return Found({{"@odata.context", "/redfish/v1/$metadata"}, {"value", value}});
}

Answer GetMetadata() {
  Answer answer;
  answer.type = "application/xml; charset=utf-8";
  answer.text = MetadataDocument();
  return answer;
}

// The session service is disabled: tokens come from registrations, not from sessions.
Answer GetSessionService() {
  return Found({{"@odata.id", kSessionService},
                {"@odata.type", std::string("#") + types::kSessionService},
                {"Id", "SessionService"},
                {"Name", "Sessions"},
                {"ServiceEnabled", false},
                {"Sessions", Reference(kSessions)}});
}

Answer ListSessions(const Call& call) {
  return Found(CollectionView(kSessions, types::kSessionCollection, "Sessions", {}, call.query));
}

// An operation that needs neither the call nor the store.
template <typename Function>
Operation Plain(Function function) {
  return [function](const Call&, Transaction&) { return function(); };
}

}  // namespace

void AddRoot(Routes& routes) {
  constexpr Access kAnyone = Access::kAnyone;
  const std::string root = kRootPath;
  routes.Add("GET", "/redfish", {kAnyone, QueryUse::kNone, Plain(GetVersions)});
  routes.Add("GET", root, {kAnyone, QueryUse::kResource, Plain(GetRoot)});
  routes.Add("GET", root + "/odata", {kAnyone, QueryUse::kNone, Plain(GetServiceDocument)});
  routes.Add("GET", root + "/$metadata", {kAnyone, QueryUse::kNone, Plain(GetMetadata)});
  routes.Add("GET", kSessionService,
             {Access::kAppliance, QueryUse::kResource, Plain(GetSessionService)});
  routes.Add("GET", kSessions,
             {Access::kAppliance, QueryUse::kCollection,
              [](const Call& call, Transaction&) { return ListSessions(call); }});
}

}  // namespace cloudservice
