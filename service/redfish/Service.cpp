#include "service/redfish/Service.h"

#include <algorithm>
#include <utility>

#include "service/Secret.h"
#include "service/redfish/Refusal.h"

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

// With what each answer of a Redfish service carries.
Response Marked(Response response) {
  response.headers.insert(response.headers.begin(), {"OData-Version", "4.0"});
  return response;
}

}  // namespace

RedfishService::RedfishService(Store& store, const Log& log, Accounts& accounts, Clock clock,
                               Retention retention)
    : m_store(store),
      m_log(log),
      m_accounts(accounts),
      m_clock(std::move(clock)),
      m_retention(retention) {}

void RedfishService::RemoveOld() {
  const std::int64_t now = m_clock();
  try {
    m_store.RemoveOld(now - m_retention.history, now - m_retention.events);
  } catch (const DatabaseError& error) {
    m_log.Line(std::string("error: what is old stays: ") + error.what());
  }
}

// Rows with the same path stand together, narrow paths before the wider ones that they match.
const std::vector<RedfishService::Route>& RedfishService::Routes() {
  using S = RedfishService;
  static const std::vector<Route> routes = {
      {"GET", {"redfish"}, Access::kAnyone, &S::GetVersions},
      {"GET", {"redfish", "v1"}, Access::kAnyone, &S::GetRoot},
      {"GET", {"redfish", "v1", "Managers"}, Access::kAnyone, &S::ListManagers},
      {"POST", {"redfish", "v1", "Managers"}, Access::kAnyone, &S::RegisterManager},
      {"GET", {"redfish", "v1", "Managers", "*"}, Access::kOwner, &S::GetManager},
      {"PATCH", {"redfish", "v1", "Managers", "*"}, Access::kOwner, &S::PatchManager},
      {"DELETE", {"redfish", "v1", "Managers", "*"}, Access::kOwner, &S::DeleteManager},
      {"POST",
       {"redfish", "v1", "Managers", "*", "Oem", "Quorvan:Events"},
       Access::kOwner,
       &S::PostEvent},
      {"GET",
       {"redfish", "v1", "Managers", "*", "Oem", "Quorvan:History"},
       Access::kOwner,
       &S::GetManagerHistory},
      {"GET",
       {"redfish", "v1", "Managers", "*", "**", "Oem", "Quorvan:History"},
       Access::kOwner,
       &S::GetManagerHistory},
      {"GET", {"redfish", "v1", "Managers", "*", "**"}, Access::kOwner, &S::GetManagerResource},
      {"PATCH", {"redfish", "v1", "Managers", "*", "**"}, Access::kOwner, &S::PatchManagerResource},
      {"GET", {"redfish", "v1", "Chassis"}, Access::kOwner, &S::ListChassis},
      {"POST", {"redfish", "v1", "Chassis"}, Access::kOwner, &S::CreateChassis},
      {"GET", {"redfish", "v1", "Chassis", "*"}, Access::kOwner, &S::GetChassis},
      {"PATCH", {"redfish", "v1", "Chassis", "*"}, Access::kOwner, &S::PatchChassis},
      {"DELETE", {"redfish", "v1", "Chassis", "*"}, Access::kOwner, &S::DeleteChassis},
      {"GET",
       {"redfish", "v1", "Chassis", "*", "Oem", "Quorvan:History"},
       Access::kOwner,
       &S::GetChassisHistory},
      {"GET",
       {"redfish", "v1", "Chassis", "*", "**", "Oem", "Quorvan:History"},
       Access::kOwner,
       &S::GetChassisHistory},
      {"GET", {"redfish", "v1", "Chassis", "*", "**"}, Access::kOwner, &S::GetChassisResource},
      {"PATCH", {"redfish", "v1", "Chassis", "*", "**"}, Access::kOwner, &S::PatchChassisResource},
      {"GET", {"redfish", "v1", "Oem", "Quorvan:Events"}, Access::kOwner, &S::ListEvents},
      {"GET", {"redfish", "v1", "Oem", "Quorvan:Events", "*"}, Access::kOwner, &S::GetEvent},
      {"POST", {"hb", "*"}, Access::kOwner, &S::TakeHeartbeat},
  };
  return routes;
}

const RedfishService::Route& RedfishService::FindRoute(Call& call, std::string& allowed) const {
  // What HEAD leaves out of GET's answer is the server's business.
  const std::string method = call.request.method == "HEAD" ? "GET" : call.request.method;
  const Route* first = nullptr;
  for (const Route& route : Routes()) {
    // The first path that fits counts alone, whatever wider one follows.
    if (first != nullptr && route.path != first->path) continue;
    if (first == nullptr && !Matches(route.path, call.target.segments, call.names)) continue;
    first = &route;
    if (route.method == method) return route;
    if (!allowed.empty()) allowed += ", ";
    allowed += route.method;
    if (route.method == std::string("GET")) allowed += ", HEAD";
  }
  if (allowed.empty()) throw Refusal(404, "There is nothing at " + call.target.Path() + ".");
  throw Refusal(405, call.request.method + " is not possible here; possible: " + allowed + ".");
}

Response RedfishService::Dispatch(Call& call, std::string& allowed) {
  const Route& route = FindRoute(call, allowed);
  if (!call.request.token.empty()) {
    call.owner = m_store.FindManagerByToken(Sha256Hex(call.request.token));
  }
  if (route.access == Access::kOwner && !call.owner) {
    throw Refusal(401, call.request.token.empty() ? "The X-Auth-Token is missing."
                                                  : "The X-Auth-Token is not known.");
  }
  return (this->*route.operation)(call);
}

Response RedfishService::Handle(const Request& request) { return Marked(Answer(request)); }

Response RedfishService::Answer(const Request& request) {
  std::string allowed;
  try {
    std::optional<Target> target = ParseTarget(request.target);
    if (!target) throw Refusal(400, "The request's target is no path of this service.");
    Call call{request, *std::move(target), {}, {}};
    return Dispatch(call, allowed);
  } catch (const Refusal& refusal) {
    Response response = Refused(refusal.Status(), request.method, request.target, refusal.what());
    if (refusal.Status() == 405) response.headers.emplace_back("Allow", allowed);
    return response;
  } catch (const std::exception& error) {
    m_log.Line(std::string("error: ") + error.what());
    return Refused(500, request.method, request.target, "The service could not do it.");
  }
}

Response RedfishService::Refuse(unsigned status, const std::string& method,
                                const std::string& target, const std::string& reason) {
  return Marked(Refused(status, method, target, reason));
}

Response RedfishService::Refused(unsigned status, const std::string& method,
                                 const std::string& target, const std::string& reason) {
  const std::string what = method.empty() && target.empty() ? "unreadable request"
                                                            : method + " " + LoggableTarget(target);
  m_log.Line("refused: " + what + ": " + std::to_string(status) + " " + reason);
  return ErrorResponse(status, reason);
}

void RedfishService::RequireOwn(const Call& call, const std::string& uuid) {
  if (call.owner->uuid != uuid) {
    throw Refusal(404, "There is nothing at " + call.target.Path() + ".");
  }
}

std::string Named(const ManagerRecord& manager) {
  return manager.name + " (UUID " + manager.uuid + ")";
}

Response JsonResponse(unsigned status, const Json& document) {
  Response response;
  response.status = status;
  response.body = PrettyText(document);
  return response;
}

}  // namespace cloudservice
