// SPDX-License-Identifier: Apache-2.0
// A request from an operator: finding its operation, checking its sender, answering it.
#include "service/api/Api.h"

#include <algorithm>
#include <utility>

#include "service/api/Error.h"
#include "service/http/EntityTag.h"

namespace cloudservice {

namespace {

constexpr const char* kBase = "/api/v1/";

// Thrown when a sender has to wait before its next password is checked.
class TooMany : public ApiError {
 public:
  explicit TooMany(std::int64_t wait)
      : ApiError(429, "Too many wrong passwords from this address."), m_wait(wait) {}
  std::int64_t Wait() const { return m_wait; }

 private:
  std::int64_t m_wait;
};

// The value of the cookie `session` in a Cookie header.
std::string SessionCookie(const std::string& header) {
  static const std::string kName = "session=";
  std::size_t at = 0;
  while (at < header.size()) {
    at = std::min(header.find_first_not_of(' ', at), header.size());
    const std::size_t end = std::min(header.find(';', at), header.size());
    if (header.compare(at, kName.size(), kName) == 0) {
      return header.substr(at + kName.size(), end - at - kName.size());
    }
    at = end + 1;
  }
  return "";
}

Credentials CredentialsOf(const Request& request) {
  return {SessionCookie(request.Header("Cookie")), request.Header("Authorization")};
}

// Whether the request comes from a page in a browser. Such a page shows its own form for signing
// in; an offer of Basic would make the browser show another one.
bool IsPage(const Request& request) {
  return !request.Header("X-Requested-With").empty() || !request.Header("Sec-Fetch-Mode").empty() ||
         request.Header("Accept").find("text/event-stream") != std::string::npos;
}

}  // namespace

OperatorApi::OperatorApi(Store& store, Operators& operators, Feed& feed, const Log& log,
                         Clock clock, bool secure, std::string command)
    : m_store(store),
      m_operators(operators),
      m_feed(feed),
      m_log(log),
      m_clock(std::move(clock)),
      m_secure(secure),
      m_command(std::move(command)) {
  AddRoutes();
}

bool OperatorApi::Serves(const Target& target) {
  const std::string path = target.Text().substr(0, target.Text().find('?'));
  return path == "/api" || path.rfind("/api/", 0) == 0;
}

bool OperatorApi::IsSlow(const Request& request) const {
  if (m_operators.IsSlow(request.Header("Authorization"))) return true;
  std::vector<std::string> names;
  const Router<Endpoint>::Path* path = m_routes.Find(request.target.Segments(), names);
  const Endpoint* endpoint = path == nullptr ? nullptr : path->Find(request.method);
  return endpoint != nullptr && endpoint->operation == &OperatorApi::SignIn;
}

void OperatorApi::AddRoutes() {
  using A = OperatorApi;
  constexpr Access kAnyone = Access::kAnyone;
  constexpr Access kOperator = Access::kOperator;
  const auto add = [this](const char* method, const char* path, Endpoint endpoint) {
    m_routes.Add(method, std::string(kBase) + path, std::move(endpoint));
  };
  add("GET", "openapi.json", {kAnyone, {}, &A::GetDescription});
  add("POST", "session", {kAnyone, {}, &A::SignIn});
  add("GET", "session", {kOperator, {}, &A::GetSession});
  add("DELETE", "session", {kAnyone, {}, &A::SignOut});
  add("GET", "stream", {kOperator, {}, &A::GetStream});
  add("GET", "appliances",
      {kOperator,
       {"q", "state", "severity", "sort", "limit", "offset", "after"},
       &A::ListAppliances});
  add("GET", "appliances/*", {kOperator, {}, &A::GetAppliance});
  add("DELETE", "appliances/*", {kOperator, {}, &A::RemoveAppliance});
  add("GET", "appliances/*/alarms", {kOperator, {}, &A::ListAlarms});
  add("GET", "appliances/*/events",
      {kOperator, {"severity", "kind", "since", "until", "q", "limit", "before"}, &A::ListEvents});
  add("GET", "alarms",
      {kOperator,
       {"state", "severity", "acknowledged", "kind", "uuid", "q", "limit", "after"},
       &A::ListFleetAlarms});
  add("PUT", "alarms/*/acknowledgement", {kOperator, {}, &A::Acknowledge});
  add("DELETE", "alarms/*/acknowledgement", {kOperator, {}, &A::EndAcknowledgement});
  add("GET", "events",
      {kOperator,
       {"severity", "kind", "since", "until", "q", "limit", "before"},
       &A::ListFleetEvents});
  add("GET", "appliances/*/resources", {kOperator, {}, &A::ListResources});
  add("GET", "appliances/*/resources/detail", {kOperator, {"uri"}, &A::GetResource});
  add("GET", "appliances/*/numbers", {kOperator, {}, &A::ListNumbers});
  add("GET", "appliances/*/history",
      {kOperator, {"uri", "member", "pointer", "since", "until", "points"}, &A::GetHistory});
}

const OperatorApi::Endpoint& OperatorApi::Find(const Request& request,
                                               std::vector<std::string>& names,
                                               Found& found) const {
  if (!request.target.IsPath()) {
    throw ApiError(404, "The request's target is no path of this service.");
  }
  const std::string method = request.method == "HEAD" ? "GET" : request.method;
  const Router<Endpoint>::Path* path = m_routes.Find(request.target.Segments(), names);
  if (path == nullptr) throw ApiError(404, "There is nothing at " + request.target.Path() + ".");
  found.route = path->route.get();
  if (const Endpoint* endpoint = path->Find(method)) return *endpoint;
  std::string& allowed = found.allowed;
  for (const auto& [name, endpoint] : path->methods) {
    allowed += (allowed.empty() ? "" : ", ") + name;
    if (name == "GET") allowed += ", HEAD";
  }
  throw ApiError(405, request.method + " is not possible here; possible: " + allowed + ".");
}

Identity OperatorApi::Authorize(const Endpoint& endpoint, const Request& request,
                                const Credentials& credentials) {
  if (endpoint.access == Access::kAnyone) return {};
  Identity who = m_operators.Identify(request.peer, credentials);
  if (who.wait > 0) throw TooMany(who.wait);
  if (!who.person) throw ApiError(401, "Sign in, or bring a token.");
  return who;
}

Response OperatorApi::Dispatch(const Request& request, Found& found) {
  std::vector<std::string> names;
  const Endpoint& endpoint = Find(request, names, found);
  const Credentials credentials = CredentialsOf(request);
  Identity who = Authorize(endpoint, request, credentials);
  Query query(request.target, endpoint.parameters);
  return (this->*endpoint.operation)(
      {request, names.empty() ? "" : names.front(), credentials, std::move(who), std::move(query)});
}

Response OperatorApi::Handle(const Request& request) {
  return Guarded(request, [&](Found& found) { return Dispatch(request, found); });
}

std::optional<Response> OperatorApi::RefuseHead(const Request& head) {
  bool refused = true;
  Response response = Guarded(head, [&](Found& found) {
    std::vector<std::string> names;
    const Endpoint& endpoint = Find(head, names, found);
    Authorize(endpoint, head, CredentialsOf(head));
    refused = false;
    return Response();
  });
  if (!refused) return std::nullopt;
  return response;
}

Response OperatorApi::Guarded(const Request& request,
                              const std::function<Response(Found& found)>& work) {
  Found found;
  Response response = Caught(request, work, found);
  response.route = found.route;
  // No answer holds a secret beside what its sender has chosen, so that its length tells nothing.
  response.mayBeCompressed = true;
  const bool looks = request.method == "GET" || request.method == "HEAD";
  if (looks && response.status == 200 && !response.Content().empty()) {
    AddWeakTag(request, EntityTag(std::string(response.Content())), response);
  }
  return response;
}

Response OperatorApi::Caught(const Request& request,
                             const std::function<Response(Found& found)>& work, Found& found) {
  try {
    return work(found);
  } catch (const TooMany& error) {
    Response response = Refused(request, error.Status(), error.what());
    response.SetHeader("Retry-After", std::to_string(error.Wait()));
    return response;
  } catch (const ApiError& error) {
    Response response = Refused(request, error.Status(), error.what());
    if (error.Status() == 405) response.SetHeader("Allow", found.allowed);
    return response;
  } catch (const DatabaseError& error) {
    m_log.Line(std::string("error: ") + error.what());
    return Refused(request, 503, "The database does not answer.");
  } catch (const std::exception& error) {
    m_log.Line(std::string("error: ") + error.what());
    return Refused(request, 500, "The service could not do it.");
  }
}

Response OperatorApi::Refused(const Request& request, unsigned status, const std::string& reason) {
  m_log.Line("refused: " + request.method + " " + request.target.Loggable() + ": " +
             std::to_string(status) + " " + reason);
  Response response = ApiErrorResponse(status, reason);
  if (status == 401) {
    response.headers.emplace_back("WWW-Authenticate", "Bearer realm=\"cloudservice\"");
    if (!IsPage(request)) {
      response.headers.emplace_back("WWW-Authenticate",
                                    "Basic realm=\"cloudservice\", charset=\"UTF-8\"");
    }
  }
  return response;
}

Response OperatorApi::GetStream(const Call& call) {
  Response response;
  response.type = "text/event-stream";
  if (call.request.method == "HEAD") return response;
  // With an authorization, the session of the same request was not used, and its end does not end
  // the stream.
  const std::string session =
      call.credentials.authorization.empty() ? call.credentials.session : "";
  response.stream = m_feed.Open(*call.who.person, session, call.request.Header("Last-Event-ID"));
  if (response.stream) return response;
  response = m_feed.HasAll(*call.who.person)
                 ? Refused(call.request, 429, "As many streams are open as one operator may have.")
                 : Refused(call.request, 503, "As many streams are open as can be served at once.");
  response.SetHeader("Retry-After", std::to_string(Feed::kCommentSeconds));
  return response;
}

}  // namespace cloudservice
