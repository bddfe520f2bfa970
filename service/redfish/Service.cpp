// SPDX-License-Identifier: Apache-2.0
#include "service/redfish/Service.h"

#include <utility>

#include "service/redfish/Conditions.h"
#include "service/redfish/Refusal.h"
#include "service/redfish/schema/Csdl.h"
#include "service/util/Secret.h"

namespace cloudservice {

namespace {

// Rows that go in one step, which takes some hundredths of a second.
constexpr std::int64_t kRemovedAtOnce = 2000;

// Of the service as a whole.
constexpr const char* kMethods = "GET, HEAD, POST, PATCH, DELETE, OPTIONS";

Response OptionsResponse(const std::string& allowed) {
  Response response;
  response.status = 204;
  response.headers.emplace_back("Allow", allowed);
  return response;
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

bool RedfishService::RemoveOld() {
  const std::int64_t now = m_clock();
  try {
    const std::int64_t ahead = m_store.TakeBackHeartbeats(now);
    if (ahead > 0) {
      m_log.Line("the clock was set back: last heartbeats that count as of now: " +
                 std::to_string(ahead));
    }
    return m_store.RemoveOld(now - m_retention.history, now - m_retention.events, kRemovedAtOnce);
  } catch (const DatabaseError& error) {
    m_log.Line(std::string("error: what is old stays: ") + error.what());
    return false;
  }
}

Response RedfishService::Handle(const Request& request) { return Marked(Answer(request)); }

Response RedfishService::Answer(const Request& request) {
  std::string allowed;
  try {
    if (request.method == "OPTIONS" && request.target == "*") return OptionsResponse(kMethods);
    std::optional<Target> target = ParseTarget(request.target);
    if (!target) {
      throw Refusal(400, {"InvalidURI", {LoggableTarget(request.target)}},
                    "The request's target is no path of this service.");
    }
    Call call{request, *std::move(target), {}, {}, {}};
    return Dispatch(call, allowed);
  } catch (const Refusal& refusal) {
    Response response = Refused(refusal, request.method, request.target);
    if (refusal.Status() == 405) response.headers.emplace_back("Allow", allowed);
    return response;
  } catch (const std::exception& error) {
    m_log.Line(std::string("error: ") + error.what());
    return Refused(Refusal(500, "The service could not do it."), request.method, request.target);
  }
}

Response RedfishService::Dispatch(Call& call, std::string& allowed) {
  const Request& request = call.request;
  CheckNegotiation(request);
  // What HEAD leaves out of GET's answer is the server's business.
  const std::string method = request.method == "HEAD" ? "GET" : request.method;
  const Route* route = FindRoute(call, method, allowed);
  if (allowed.empty()) throw NothingAt(call.target.Path());
  if (method == "OPTIONS") return OptionsResponse(allowed);
  if (route == nullptr) {
    throw Refusal(405, request.method + " is not possible here; possible: " + allowed + ".");
  }
  if (!request.token.empty()) call.owner = m_store.FindManagerByToken(Sha256Hex(request.token));
  if (!MayTake(call, *route)) {
    throw Refusal(401, request.token.empty() ? "The X-Auth-Token is missing."
                                             : "The X-Auth-Token is not known.");
  }
  if (method == "GET") return Get(call, *route, allowed);
  const bool conditional =
      !request.Header("If-Match").empty() || !request.Header("If-None-Match").empty();
  if (conditional && (method == "PATCH" || method == "DELETE")) {
    CheckConditions(request, CurrentTag(call));
  }
  return (this->*route->operation)(call);
}

Response RedfishService::Get(Call& call, const Route& route, const std::string& allowed) {
  call.query = ParseQueryOptions(call.target);
  const bool paged = call.query.top || call.query.skip;
  if ((route.options == Options::kNone && !call.query.Empty()) ||
      (route.options == Options::kResource && paged)) {
    throw Refusal(400, {"QueryNotSupportedOnResource", {}},
                  "The resource does not take these query options.");
  }
  const bool expands = call.query.expand != QueryOptions::Expand::kNone;
  call.lookUps->RefuseMore(expands ? 507 : 400);
  Response response = (this->*route.operation)(call);
  if (response.status != 200) return response;
  call.lookUps->Count(response.body.size());
  if (expands || !call.query.select.empty()) {
    const Json document = ParseStored(response.body);
    const auto fetch = [&](const std::string& path) {
      const Json& found = Fetched(call, path);
      if (found.is_object()) call.lookUps->Count(CompactText(found).size());
      return found;
    };
    response.body = CompactText(Selected(Expanded(document, call.query, fetch), call.query));
  }
  response.headers.emplace_back("Allow", allowed);
  response.headers.emplace_back("Cache-Control", "no-cache");
  ApplyConditions(call.request, response);
  return response;
}

const Json& RedfishService::Fetched(const Call& call, const std::string& path) {
  static const Json nothing;
  std::optional<Target> target = ParseTarget(path);
  // No link has a query.
  if (!target || !target->query.empty()) return nothing;
  return call.lookUps->Document(target->Path(), [&] {
    return Answered({call.request, *std::move(target), {}, call.owner, {}, call.lookUps});
  });
}

Json RedfishService::Answered(Call call) {
  std::string allowed;
  const Route* route = FindRoute(call, "GET", allowed);
  if (route == nullptr || !MayTake(call, *route)) return nullptr;
  try {
    const Response response = (this->*route->operation)(call);
    return response.status == 200 ? ParseStored(response.body) : Json();
  } catch (const Refusal& refusal) {
    if (refusal.Status() == 507) throw;
    return nullptr;
  }
}

std::optional<std::string> RedfishService::CurrentTag(const Call& call) {
  const Json& document = Fetched(call, call.target.Path());
  if (document.is_null()) return std::nullopt;
  return EntityTag(CompactText(document));
}

Response RedfishService::Refuse(unsigned status, const std::string& method,
                                const std::string& target, const std::string& reason) {
  return Marked(Refused(Refusal(status, reason), method, target));
}

Response RedfishService::Refused(const Refusal& refusal, const std::string& method,
                                 const std::string& target) {
  const std::string what = method.empty() && target.empty() ? "unreadable request"
                                                            : method + " " + LoggableTarget(target);
  m_log.Line("refused: " + what + ": " + std::to_string(refusal.Status()) + " " + refusal.what());
  return ErrorResponse(refusal);
}

void RedfishService::RequireOwn(const Call& call, const std::string& uuid) {
  if (call.owner->uuid != uuid) throw NothingAt(call.target.Path());
}

std::string Named(const ManagerRecord& manager) {
  return manager.name + " (UUID " + manager.uuid + ")";
}

Response JsonResponse(unsigned status, const Json& document) {
  Response response;
  response.status = status;
  response.body = CompactText(document);
  const auto type = document.find("@odata.type");
  if (document.is_object() && type != document.end()) {
    const std::string schema = JsonSchemaUri(type->get<std::string>().substr(1));
    response.headers.emplace_back("Link", "<" + schema + ">; rel=describedby");
  }
  return response;
}

Response CreatedResponse(const Json& document) {
  Response response = JsonResponse(201, document);
  response.headers.emplace_back("Location", document.at("@odata.id").get<std::string>());
  response.headers.emplace_back("ETag", EntityTag(response.body));
  return response;
}

Response DoneResponse() {
  Response response;
  response.status = 204;
  return response;
}

}  // namespace cloudservice
