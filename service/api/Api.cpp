// SPDX-License-Identifier: Apache-2.0
#include "service/api/Api.h"

#include <algorithm>
#include <utility>

#include "service/api/Error.h"

namespace cloudservice {

namespace {

const std::vector<std::string> kBase = {"api", "v1"};

// Thrown for a sender who has to wait.
class TooMany : public ApiError {
 public:
  explicit TooMany(std::int64_t wait)
      : ApiError(429, "Too many wrong passwords from this address."), m_wait(wait) {}
  std::int64_t Wait() const { return m_wait; }

 private:
  std::int64_t m_wait;
};

bool Matches(const std::vector<std::string>& pattern, const std::vector<std::string>& path) {
  if (path.size() != kBase.size() + pattern.size()) return false;
  const auto [differs, rest] = std::mismatch(kBase.begin(), kBase.end(), path.begin());
  if (differs != kBase.end()) return false;
  return std::equal(pattern.begin(), pattern.end(), rest,
                    [](const std::string& a, const std::string& b) { return a == "*" || a == b; });
}

// The value of the cookie `session`.
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

// Whether a page of a browser asks, which has a form of its own for signing in: an offer of Basic
// would make the browser ask with one of its own.
bool IsPage(const Request& request) {
  return !request.Header("X-Requested-With").empty() || !request.Header("Sec-Fetch-Mode").empty() ||
         request.Header("Accept").find("text/event-stream") != std::string::npos;
}

}  // namespace

OperatorApi::OperatorApi(Store& store, Operators& operators, Feed& feed, const Log& log,
                         Clock clock, bool secure)
    : m_store(store),
      m_operators(operators),
      m_feed(feed),
      m_log(log),
      m_clock(std::move(clock)),
      m_secure(secure) {}

bool OperatorApi::Serves(const std::string& target) {
  const std::string path = target.substr(0, target.find('?'));
  return path == "/api" || path.rfind("/api/", 0) == 0;
}

const std::vector<OperatorApi::Route>& OperatorApi::Routes() {
  using A = OperatorApi;
  constexpr Access kAnyone = Access::kAnyone;
  constexpr Access kOperator = Access::kOperator;
  static const std::vector<Route> routes = {
      {"GET", {"openapi.json"}, kAnyone, {}, &A::GetDescription},
      {"POST", {"session"}, kAnyone, {}, &A::SignIn},
      {"GET", {"session"}, kOperator, {}, &A::GetSession},
      {"DELETE", {"session"}, kAnyone, {}, &A::SignOut},
      {"GET",
       {"appliances"},
       kOperator,
       {"q", "state", "severity", "sort", "limit", "offset", "after"},
       &A::ListAppliances},
      {"GET", {"appliances", "*"}, kOperator, {}, &A::GetAppliance},
      {"GET", {"appliances", "*", "alarms"}, kOperator, {}, &A::ListAlarms},
      {"GET",
       {"appliances", "*", "events"},
       kOperator,
       {"severity", "kind", "since", "until", "q", "limit", "before"},
       &A::ListEvents},
      {"GET", {"appliances", "*", "resources"}, kOperator, {}, &A::ListResources},
      {"GET", {"appliances", "*", "resources", "detail"}, kOperator, {"uri"}, &A::GetResource},
      {"GET", {"appliances", "*", "numbers"}, kOperator, {}, &A::ListNumbers},
      {"GET",
       {"appliances", "*", "history"},
       kOperator,
       {"uri", "member", "pointer", "since", "until", "points"},
       &A::GetHistory},
      {"GET", {"stream"}, kOperator, {}, &A::GetStream},
  };
  return routes;
}

const OperatorApi::Route& OperatorApi::FindRoute(const Request& request, const Target& target,
                                                 std::string& allowed) {
  const std::string method = request.method == "HEAD" ? "GET" : request.method;
  for (const Route& route : Routes()) {
    if (!Matches(route.path, target.segments)) continue;
    if (route.method == method) return route;
    if (!allowed.empty()) allowed += ", ";
    allowed += route.method;
    if (route.method == std::string("GET")) allowed += ", HEAD";
  }
  if (allowed.empty()) throw ApiError(404, "There is nothing at " + target.Path() + ".");
  throw ApiError(405, request.method + " is not possible here; possible: " + allowed + ".");
}

void OperatorApi::Authorize(const Route& route, const Request& request, const Proof& proof,
                            Identity& who) {
  if (route.access == Access::kAnyone) return;
  who = m_operators.Identify(request.peer, proof);
  if (who.wait > 0) throw TooMany(who.wait);
  if (!who.person) throw ApiError(401, "Sign in, or bring a token.");
}

Response OperatorApi::Dispatch(const Request& request, std::string& allowed) {
  std::optional<Target> target = ParseTarget(request.target);
  if (!target) throw ApiError(404, "The request's target is no path of this service.");
  const Route& route = FindRoute(request, *target, allowed);
  const Proof proof = {SessionCookie(request.Header("Cookie")), request.Header("Authorization")};
  Identity who;
  Authorize(route, request, proof, who);
  Query query(*target, route.parameters);
  constexpr std::size_t kUuid = 3;
  std::string uuid = target->segments.size() > kUuid ? target->segments[kUuid] : "";
  return (this->*route.operation)(
      {request, *std::move(target), std::move(uuid), proof, who, std::move(query)});
}

Response OperatorApi::Handle(const Request& request) {
  std::string allowed;
  try {
    return Dispatch(request, allowed);
  } catch (const TooMany& error) {
    Response response = Refused(request, error.Status(), error.what());
    response.SetHeader("Retry-After", std::to_string(error.Wait()));
    return response;
  } catch (const ApiError& error) {
    Response response = Refused(request, error.Status(), error.what());
    if (error.Status() == 405) response.SetHeader("Allow", allowed);
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
  m_log.Line("refused: " + request.method + " " + LoggableTarget(request.target) + ": " +
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
  // A session that came beside another proof has nothing to do with the stream.
  const std::string session = call.proof.authorization.empty() ? call.proof.session : "";
  response.stream = m_feed.Open(*call.who.person, session, call.request.Header("Last-Event-ID"));
  if (response.stream) return response;
  response = Refused(call.request, 503, "As many streams are open as can be served at once.");
  response.SetHeader("Retry-After", std::to_string(Feed::kCommentSeconds));
  return response;
}

}  // namespace cloudservice
