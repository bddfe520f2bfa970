// SPDX-License-Identifier: Apache-2.0
// A request on its way: its operation, its sender, its answer.
#include "service/redfish/Service.h"

#include <utility>

#include "service/http/EntityTag.h"
#include "service/redfish/Body.h"
#include "service/redfish/Chassis.h"
#include "service/redfish/Conditions.h"
#include "service/redfish/Events.h"
#include "service/redfish/Heartbeats.h"
#include "service/redfish/Histories.h"
#include "service/redfish/Managers.h"
#include "service/redfish/Resources.h"
#include "service/redfish/Root.h"
#include "service/redfish/Schemas.h"
#include "service/redfish/Views.h"
#include "service/redfish/schema/SchemaUris.h"
#include "service/util/Secret.h"

namespace cloudservice {

namespace {

// The methods of the service as a whole.
constexpr const char* kMethods = "GET, HEAD, POST, PATCH, DELETE, OPTIONS";

// Bytes of a body that is parsed where connections are served, and then waits for the writer. Those
// of appliances are smaller but for their first.
constexpr std::size_t kSmallBody = 4096;

Response OptionsResponse(const std::string& allowed) {
  Response response;
  response.status = 204;
  response.headers.emplace_back("Allow", allowed);
  return response;
}

// Adds the header that every answer of a Redfish service has.
Response Marked(Response response) {
  response.headers.insert(response.headers.begin(), {"OData-Version", "4.0"});
  return response;
}

// Writes out the document of an answer, and adds the headers that belong to it.
Response Rendered(const Answer& answer) {
  Response response;
  response.status = answer.status;
  const Json& document = answer.document;
  if (document.is_null()) {
    response.body = answer.text;
    if (!answer.type.empty()) response.type = answer.type;
  } else {
    response.body = CompactText(document);
    if (const auto type = TextMember(document, "@odata.type")) {
      response.headers.emplace_back("Link",
                                    "<" + JsonSchemaUri(type->substr(1)) + ">; rel=describedby");
    }
  }
  if (answer.status == 201 && !document.is_null()) {
    response.headers.emplace_back("Location", document.at("@odata.id").get<std::string>());
    response.headers.emplace_back("ETag", EntityTag(response.body));
  }
  for (const auto& header : answer.headers) response.headers.push_back(header);
  return response;
}

// HEAD is answered like GET here; the server leaves the body out.
std::string MethodOf(const Request& request) {
  return request.method == "HEAD" ? "GET" : request.method;
}

// Identifies the sender of the call. Throws Refusal (401, 404) when the sender may not call the
// operation.
void Admit(Call& call, const Endpoint& endpoint, Transaction& store) {
  const std::string& token = call.request.token;
  call.owner.reset();
  if (!token.empty()) {
    if (call.tokenHash.empty()) call.tokenHash = Sha256Hex(token);
    call.owner = store.FindSender(call.tokenHash);
  }
  if (endpoint.access == Access::kAnyone) return;
  if (!call.owner) {
    throw Refusal(
        401, token.empty() ? "The X-Auth-Token is missing." : "The X-Auth-Token is not known.");
  }
  const std::string& uuid = call.owner->uuid;
  if ((endpoint.access == Access::kItsManager && call.names.at(0) != uuid) ||
      (endpoint.access == Access::kItsChassis && !store.HasChassis(uuid, call.names.at(0)))) {
    throw NothingAt(call.target.Path());
  }
}

// A change that waits for the store.
struct Begun {
  explicit Begun(const std::shared_ptr<const Request>& taken)
      : request(taken), call{*taken, taken->target} {}

  const std::shared_ptr<const Request> request;
  Call call;
  const Endpoint* endpoint = nullptr;
  Route* route = nullptr;
  Answer answer;
};

// Whether the query asks for another document than the operation gives.
bool IsChosen(const QueryOptions& query) {
  return query.expand != QueryOptions::Expand::kNone || !query.select.empty();
}

void CheckOptions(const Call& call, const Endpoint& endpoint) {
  const bool paged = call.query.top || call.query.skip;
  if ((endpoint.query == QueryUse::kNone && !call.query.Empty()) ||
      (endpoint.query == QueryUse::kResource && paged)) {
    throw Refusal(400, {"QueryNotSupportedOnResource", {}},
                  "The resource does not take these query options.");
  }
}

}  // namespace

RedfishService::RedfishService(Store& store, const Log& log, Accounts& accounts, const Clock& clock,
                               const Retention& retention, const Quotas& quotas)
    : m_store(store), m_log(log), m_clock(clock) {
  const Quota quota(quotas);
  AddRoot(m_routes);
  AddSchemas(m_routes);
  Managers(clock, accounts, quota).AddTo(m_routes);
  Heartbeats(clock).AddTo(m_routes);
  Chassis(clock, quota).AddTo(m_routes);
  Resources(clock, quota).AddTo(m_routes);
  Histories(clock, retention.history).AddTo(m_routes);
  Events(clock, quota).AddTo(m_routes);
}

Response RedfishService::Handle(const Request& request) {
  return Guarded(request, [&](Place& place) { return Dispatch(request, place); });
}

bool RedfishService::Begin(const std::shared_ptr<const Request>& request, Ready ready) {
  const std::string method = MethodOf(*request);
  if (method == "GET" || request->token.empty() || request->body.size() > kSmallBody) return false;
  const auto begun = std::make_shared<Begun>(request);
  Call& call = begun->call;
  call.tokenHash = Sha256Hex(request->token);
  if (!m_recent.Has(call.tokenHash)) return false;
  try {
    Place place;
    begun->endpoint = FindOrRefuse(call, method, place);
    begun->route = place.route;
    if (begun->endpoint == nullptr || begun->endpoint->before) return false;
    if (method != "DELETE") call.body = ParseBody(request->body);
  } catch (const Refusal&) {
    // Its answer depends on whether the sender is known.
    return false;
  }
  const auto finish = [this, begun, ready = std::move(ready)](const std::exception_ptr& error) {
    ready([this, begun, error] {
      if (!begun->call.owner) m_recent.Forget(begun->call.tokenHash);
      return Guarded(*begun->request, [&](Place& place) {
        place.route = begun->route;
        if (error) std::rethrow_exception(error);
        Tell(begun->answer);
        return Rendered(begun->answer);
      });
    });
  };
  return m_store.WriteLater(
      [this, begun](Transaction& store) {
        begun->answer = Changed(begun->call, *begun->endpoint, store);
      },
      finish);
}

std::optional<Response> RedfishService::RefuseHead(const Request& head) {
  bool refused = true;
  Response response = Guarded(head, [&](Place& place) {
    Call call{head, head.target};
    const Endpoint* endpoint = FindOrRefuse(call, MethodOf(head), place);
    if (endpoint != nullptr) {
      m_store.Read([&](Transaction& store) { Admit(call, *endpoint, store); });
    }
    refused = false;
    return Response();
  });
  if (!refused) return std::nullopt;
  return response;
}

Response RedfishService::Guarded(const Request& request,
                                 const std::function<Response(Place& place)>& work) {
  Place place;
  const auto routed = [&](Response response) {
    response.route = place.route;
    return Marked(std::move(response));
  };
  try {
    return routed(work(place));
  } catch (const OverQuota& refusal) {
    // An appliance that sends too much must not fill the log as well.
    if (m_overQuota.Add(refusal, m_clock())) {
      m_log.Line("over quota: " + Named(refusal.Owner()) + ": " + std::to_string(refusal.Status()) +
                 " " + refusal.what());
    }
    return routed(ErrorResponse(refusal));
  } catch (const Refusal& refusal) {
    Response response = Refused(refusal, request);
    if (refusal.Status() == 405) response.headers.emplace_back("Allow", place.allowed);
    return routed(std::move(response));
  } catch (const std::exception& error) {
    m_log.Line(std::string("error: ") + error.what());
    return routed(Refused(Refusal(500, "The service could not do it."), request));
  }
}

bool RedfishService::IsSlow(const Request& request) const {
  std::vector<std::string> names;
  const Routes::Path* path = m_routes.Find(request.target.Segments(), names);
  const Endpoint* endpoint = path == nullptr ? nullptr : path->Find(request.method);
  return endpoint != nullptr && endpoint->before;
}

RedfishService::Place RedfishService::Find(Call& call, const std::string& method) const {
  const Routes::Path* path = m_routes.Find(call.target.Segments(), call.names);
  if (path == nullptr) return {};
  Place place = {path->Find(method), "", path->route.get()};
  const Endpoint* get = path->Find("GET");
  const bool collection = get != nullptr && get->query == QueryUse::kCollection;
  for (const auto& [name, endpoint] : path->methods) {
    // A PATCH of a collection is accepted from appliances but not announced: the collection's type
    // does not allow changes.
    if (!collection || name != "PATCH") place.allowed += name + ", ";
    if (name == "GET") place.allowed += "HEAD, ";
  }
  place.allowed += "OPTIONS";
  return place;
}

const Endpoint* RedfishService::FindOrRefuse(Call& call, const std::string& method,
                                             Place& place) const {
  const Request& request = call.request;
  if (!request.target.IsPath()) {
    throw Refusal(400, {"InvalidURI", {request.target.Loggable()}},
                  "The request's target is no path of this service.");
  }
  CheckNegotiation(request);
  place = Find(call, method);
  if (place.allowed.empty()) throw NothingAt(call.target.Path());
  if (place.endpoint == nullptr && method != "OPTIONS") {
    throw Refusal(405, request.method + " is not possible here; possible: " + place.allowed + ".");
  }
  return place.endpoint;
}

Response RedfishService::Dispatch(const Request& request, Place& place) {
  if (request.method == "OPTIONS" && request.target.Text() == "*") return OptionsResponse(kMethods);
  Call call{request, request.target};
  const std::string method = MethodOf(request);
  const Endpoint* endpoint = FindOrRefuse(call, method, place);
  if (endpoint == nullptr) return OptionsResponse(place.allowed);
  if (method != "GET") return Change(call, *endpoint, method);
  Response response = Get(call, *endpoint);
  if (response.status != 200) return response;
  response.headers.emplace_back("Allow", place.allowed);
  response.headers.emplace_back("Cache-Control", "no-cache");
  ApplyConditions(request, response);
  return response;
}

Response RedfishService::Get(Call& call, const Endpoint& endpoint) {
  const Answer answer = m_store.Read([&](Transaction& store) {
    Admit(call, endpoint, store);
    call.query = ParseQueryOptions(call.target);
    CheckOptions(call, endpoint);
    call.lookUps = std::make_shared<LookUps>();
    call.lookUps->RefuseMore(call.query.expand == QueryOptions::Expand::kNone ? 400 : 507);
    Answer made = endpoint.operation(call, store);
    if (made.status == 200 && IsChosen(call.query)) {
      made.document = Chosen(call, store, made.document);
    }
    return made;
  });
  Response response = Rendered(answer);
  if (!IsChosen(call.query)) {
    call.lookUps->Count(response.body.size(), CountValues(answer.document));
  }
  Tell(answer);
  return response;
}

// The sender is checked before the body is parsed, and once more in the transaction that makes the
// change.
Response RedfishService::Change(Call& call, const Endpoint& endpoint, const std::string& method) {
  m_store.Read([&](Transaction& store) { Admit(call, endpoint, store); });
  if (call.owner) m_recent.Add(call.tokenHash);
  if (endpoint.before) endpoint.before(call);
  if (method != "DELETE") call.body = ParseBody(call.request.body);
  const Answer answer =
      m_store.Write([&](Transaction& store) { return Changed(call, endpoint, store); });
  Tell(answer);
  return Rendered(answer);
}

Answer RedfishService::Changed(Call& call, const Endpoint& endpoint, Transaction& store) const {
  Admit(call, endpoint, store);
  call.lookUps = std::make_shared<LookUps>();
  const Request& request = call.request;
  const bool conditional =
      !request.Header("If-Match").empty() || !request.Header("If-None-Match").empty();
  if (conditional && (request.method == "PATCH" || request.method == "DELETE")) {
    CheckConditions(request, CurrentTag(call, store));
  }
  return endpoint.operation(call, store);
}

Json RedfishService::Chosen(const Call& call, Transaction& store, const Json& document) const {
  call.lookUps->Count(CompactText(document).size(), CountValues(document));
  const auto fetch = [&](const std::string& path) {
    const Json& found = Fetched(call, store, path);
    if (found.is_object()) call.lookUps->Count(CompactText(found).size(), CountValues(found));
    return found;
  };
  return Selected(Expanded(document, call.query, fetch), call.query);
}

const Json& RedfishService::Fetched(const Call& call, Transaction& store,
                                    const std::string& path) const {
  static const Json nothing;
  Target target = path;
  // A link with a query leads nowhere.
  if (!target.IsPath() || !target.Query().empty()) return nothing;
  return call.lookUps->Document(target.Path(), [&] {
    return Answered({call.request, std::move(target), {}, call.owner, {}, {}, call.lookUps}, store);
  });
}

Json RedfishService::Answered(Call call, Transaction& store) const {
  const Endpoint* endpoint = Find(call, "GET").endpoint;
  if (endpoint == nullptr) return nullptr;
  try {
    Admit(call, *endpoint, store);
    const Answer answer = endpoint->operation(call, store);
    return answer.status == 200 ? answer.document : Json();
  } catch (const Refusal& refusal) {
    if (refusal.Status() == 507) throw;
    return nullptr;
  }
}

std::optional<std::string> RedfishService::CurrentTag(const Call& call, Transaction& store) const {
  const Json& document = Fetched(call, store, call.target.Path());
  if (document.is_null()) return std::nullopt;
  return EntityTag(CompactText(document));
}

Response RedfishService::Refuse(unsigned status, const Request& request,
                                const std::string& reason) {
  return Marked(Refused(Refusal(status, reason), request));
}

void RedfishService::Tell(const Answer& answer) const {
  for (const std::string& line : answer.lines) {
    answer.routine ? m_log.Routine(line) : m_log.Line(line);
  }
}

Response RedfishService::Refused(const Refusal& refusal, const Request& request) const {
  const bool unreadable = request.method.empty() && request.target.Text().empty();
  const std::string what =
      unreadable ? "unreadable request" : request.method + " " + request.target.Loggable();
  m_log.Line("refused: " + what + ": " + std::to_string(refusal.Status()) + " " + refusal.what());
  return ErrorResponse(refusal);
}

}  // namespace cloudservice
