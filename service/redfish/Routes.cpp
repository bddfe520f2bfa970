// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include "service/redfish/Service.h"

namespace cloudservice {

namespace {

// Fills `names` with what the single stars stand for.
bool Matches(const std::vector<std::string>& pattern, const std::vector<std::string>& path,
             std::vector<std::string>& names) {
  const auto open = std::find(pattern.begin(), pattern.end(), "**");
  if (open == pattern.end() ? path.size() != pattern.size() : path.size() < pattern.size()) {
    return false;
  }
  names.clear();
  const std::size_t more = path.size() - pattern.size();
  for (std::size_t i = 0, at = 0; i < pattern.size(); ++i, ++at) {
    if (pattern[i] == "**") {
      at += more;
    } else if (pattern[i] == "*") {
      names.push_back(path[at]);
    } else if (pattern[i] != path[at]) {
      return false;
    }
  }
  return true;
}

// "/redfish/v1/Managers" as the segments of a path.
std::vector<std::string> SegmentsOf(const std::string& path) {
  std::vector<std::string> segments;
  std::size_t from = 1;
  while (from != 0) {
    const std::size_t to = path.find('/', from);
    segments.push_back(path.substr(from, to - from));
    from = to + 1;
  }
  return segments;
}

}  // namespace

// Rows with the same path stand together, narrow paths before the wider ones that they match.
// NOLINTNEXTLINE(readability-function-size): a table
const std::vector<RedfishService::Route>& RedfishService::Routes() {
  using S = RedfishService;
  constexpr Access kAnyone = Access::kAnyone;
  constexpr Access kOwner = Access::kOwner;
  constexpr Options kNone = Options::kNone;
  constexpr Options kOne = Options::kResource;
  constexpr Options kMany = Options::kCollection;
  const auto route = [](const char* method, const std::string& path, Access access, Options options,
                        Operation operation) {
    return Route{method, SegmentsOf(path), access, options, operation};
  };
  static const std::string kV1 = "/redfish/v1";
  static const std::string kManager = kV1 + "/Managers/*";
  static const std::string kChassis = kV1 + "/Chassis/*";
  static const std::string kEvents = "/Oem/Quorvan:Events";
  static const std::string kHistory = "/Oem/Quorvan:History";
  static const std::vector<Route> routes = {
      route("GET", "/redfish", kAnyone, kNone, &S::GetVersions),
      route("GET", kV1, kAnyone, kOne, &S::GetRoot),
      route("GET", kV1 + "/odata", kAnyone, kNone, &S::GetServiceDocument),
      route("GET", kV1 + "/$metadata", kAnyone, kNone, &S::GetMetadata),
      route("GET", kV1 + "/Schemas/*", kAnyone, kNone, &S::GetSchemaFile),
      route("GET", kV1 + "/JsonSchemas", kOwner, kMany, &S::ListSchemas),
      route("GET", kV1 + "/JsonSchemas/*", kOwner, kOne, &S::GetSchema),
      route("GET", kV1 + "/Registries", kOwner, kMany, &S::ListRegistries),
      route("GET", kV1 + "/Registries/*", kOwner, kOne, &S::GetRegistry),
      route("GET", kV1 + "/SessionService", kOwner, kOne, &S::GetSessionService),
      route("GET", kV1 + "/SessionService/Sessions", kOwner, kMany, &S::ListSessions),
      route("GET", kV1 + "/Managers", kAnyone, kMany, &S::ListManagers),
      route("POST", kV1 + "/Managers", kAnyone, kNone, &S::RegisterManager),
      route("GET", kManager, kOwner, kOne, &S::GetManager),
      route("PATCH", kManager, kOwner, kNone, &S::PatchManager),
      route("DELETE", kManager, kOwner, kNone, &S::DeleteManager),
      route("POST", kManager + kEvents, kOwner, kNone, &S::PostEvent),
      route("GET", kManager + kHistory, kOwner, kNone, &S::GetManagerHistory),
      route("GET", kManager + "/**" + kHistory, kOwner, kNone, &S::GetManagerHistory),
      route("GET", kManager + "/**", kOwner, kOne, &S::GetManagerResource),
      route("PATCH", kManager + "/**", kOwner, kNone, &S::PatchManagerResource),
      route("GET", kV1 + "/Chassis", kOwner, kMany, &S::ListChassis),
      route("POST", kV1 + "/Chassis", kOwner, kNone, &S::CreateChassis),
      route("GET", kChassis, kOwner, kOne, &S::GetChassis),
      route("PATCH", kChassis, kOwner, kNone, &S::PatchChassis),
      route("DELETE", kChassis, kOwner, kNone, &S::DeleteChassis),
      route("GET", kChassis + kHistory, kOwner, kNone, &S::GetChassisHistory),
      route("GET", kChassis + "/Sensors", kOwner, kMany, &S::GetSensors),
      route("PATCH", kChassis + "/Sensors", kOwner, kNone, &S::PatchChassisResource),
      route("GET", kChassis + "/**" + kHistory, kOwner, kNone, &S::GetChassisHistory),
      route("GET", kChassis + "/**", kOwner, kOne, &S::GetChassisResource),
      route("PATCH", kChassis + "/**", kOwner, kNone, &S::PatchChassisResource),
      route("GET", kV1 + kEvents, kOwner, kMany, &S::ListEvents),
      route("GET", kV1 + kEvents + "/*", kOwner, kOne, &S::GetEvent),
      route("POST", "/hb/*", kOwner, kNone, &S::TakeHeartbeat),
  };
  return routes;
}

const RedfishService::Route* RedfishService::FindRoute(Call& call, const std::string& method,
                                                       std::string& allowed) {
  const Route* first = nullptr;
  const Route* found = nullptr;
  allowed.clear();
  for (const Route& route : Routes()) {
    // The first path that fits counts alone, whatever wider one follows.
    if (first != nullptr && route.path != first->path) continue;
    if (first == nullptr && !Matches(route.path, call.target.segments, call.names)) continue;
    if (first == nullptr) first = &route;
    if (route.method == method) found = &route;
    // Appliances may say something about a collection; its type says that nobody changes it.
    if (first->options == Options::kCollection && route.method == std::string("PATCH")) continue;
    allowed += std::string(allowed.empty() ? "" : ", ") + route.method;
    if (route.method == std::string("GET")) allowed += ", HEAD";
  }
  if (!allowed.empty()) allowed += ", OPTIONS";
  return found;
}

}  // namespace cloudservice
