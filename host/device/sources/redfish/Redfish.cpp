// SPDX-License-Identifier: Apache-2.0
// The resources of a controller, as values of points.
#include "host/device/sources/redfish/Redfish.h"

#include <map>
#include <utility>

#include "host/device/sources/Credentials.h"
#include "host/device/sources/Settings.h"
#include "host/device/sources/redfish/ChassisOffer.h"
#include "host/device/sources/redfish/WebClient.h"

namespace host {
namespace {

constexpr long kOk = 200;
constexpr long kCreated = 201;
constexpr long kUnauthorized = 401;
constexpr long kForbidden = 403;
constexpr long kNotFound = 404;
constexpr char kSessions[] = "/redfish/v1/SessionService/Sessions";

// How the controller is asked to believe us.
struct Login {
  std::string credentials;  // the file; none when empty
  bool bySession = false;   // in place of Basic
};

class Controller : public SourceConnection {
 public:
  Controller(WebServer server, Login login, const SourceLimits& limits)
      : m_login(std::move(login)), m_client(std::move(server), limits) {}

  void AddPoint(size_t point, const std::string& settings, SettingFaults& faults) override {
    const Settings its(settings);
    const std::string path = its.Needed("Path", faults);
    if (!path.empty() && path.front() != '/') faults.push_back({"Path", "does not begin with /"});
    // It becomes part of a request's first line.
    if (path.find_first_of(" \r\n\t") != std::string::npos) {
      faults.push_back({"Path", "holds a blank"});
    }
    const auto pointer = JsonPointer::Parse(its.Text("Pointer"));
    if (!its.Holds("Pointer") || !pointer) {
      faults.push_back({"Pointer", its.Holds("Pointer") ? "is no JSON pointer" : "is missing"});
    }
    if (faults.empty()) m_resources[path].push_back({point, *pointer});
  }

  Problem Read(SourceSink& sink) override {
    for (const auto& [path, points] : m_resources) {
      WebExchange exchange;
      if (Problem problem = Fetch(path, exchange)) return problem;
      if (exchange.status == kOk) {
        TellResource(exchange.answer, points, sink);
        continue;
      }
      const Problem problem("its controller answers status " + std::to_string(exchange.status));
      for (const ResourcePoint& point : points) sink.NoValue(point.point, problem);
    }
    return {};
  }

  // A resource as it is; null where there is none.
  Problem FetchJson(const std::string& path, JsonRef& resource) {
    WebExchange exchange;
    if (Problem problem = Fetch(path, exchange)) return problem.With(path);
    resource.reset();
    if (exchange.status == kNotFound) return {};
    if (exchange.status != kOk) {
      return Problem("its controller answers status " + std::to_string(exchange.status)).With(path);
    }
    resource.reset(
        json_loadb(exchange.answer.data(), exchange.answer.size(), JSON_ALLOW_NUL, nullptr));
    return resource == nullptr ? Problem("its controller's answer is no JSON").With(path)
                               : Problem();
  }

 private:
  // A controller that has forgotten a session, or whose password is another one, is asked once
  // more.
  Problem Fetch(const std::string& path, WebExchange& exchange) {
    const bool wasKnown = m_isKnown;
    if (Problem problem = AskFor(path, exchange)) return problem;
    if (IsRefused(exchange) && wasKnown) {
      m_isKnown = false;
      if (Problem problem = AskFor(path, exchange)) return problem;
    }
    if (!IsRefused(exchange)) return {};
    m_isKnown = false;
    return Problem("its controller refuses the credentials");
  }

  static bool IsRefused(const WebExchange& exchange) {
    return exchange.status == kUnauthorized || exchange.status == kForbidden;
  }

  Problem AskFor(const std::string& path, WebExchange& exchange) {
    if (!m_isKnown) {
      if (Problem problem = LogIn()) return problem;
    }
    exchange = m_identity;
    exchange.path = path;
    return m_client.Ask(exchange);
  }

  // Reads the credentials, and opens a session where one is asked for.
  Problem LogIn() {
    m_identity = WebExchange();
    if (m_login.credentials.empty()) {
      m_isKnown = true;
      return {};
    }
    JsonRef file;
    Problem problem = ReadCredentials(m_login.credentials, {"User", "Password", "Token"}, file);
    if (problem) return problem;
    m_identity.token = JsonText(json_object_get(file.get(), "Token"));
    if (m_identity.token.find_first_of("\r\n") != std::string::npos) {
      return Problem("\"Token\" holds a line end").With(m_login.credentials);
    }
    m_identity.user = JsonText(json_object_get(file.get(), "User"));
    m_identity.password = JsonText(json_object_get(file.get(), "Password"));
    if (m_identity.token.empty() && m_identity.user.empty()) {
      return Problem("holds neither \"User\" nor \"Token\"").With(m_login.credentials);
    }
    if (m_login.bySession && m_identity.token.empty()) problem = OpenSession();
    m_isKnown = !problem;
    return problem;
  }

  Problem OpenSession() {
    const JsonRef body(json_object());
    PutJson(body.get(), "UserName", JsonString(std::exchange(m_identity.user, {})));
    PutJson(body.get(), "Password", JsonString(std::exchange(m_identity.password, {})));
    WebExchange exchange;
    exchange.path = kSessions;
    exchange.body = DumpedJson(body.get(), JSON_COMPACT);
    if (Problem problem = m_client.Ask(exchange)) return problem;
    const bool opened = exchange.status == kCreated || exchange.status == kOk;
    if (!opened || exchange.newToken.empty()) {
      return Problem("its controller opens no session, status " + std::to_string(exchange.status));
    }
    m_identity.token = exchange.newToken;
    return {};
  }

  const Login m_login;
  WebClient m_client;
  std::map<std::string, std::vector<ResourcePoint>> m_resources;
  bool m_isKnown = false;
  WebExchange m_identity;  // what every request begins as
};

bool IsUrl(const std::string& text) {
  const bool scheme = text.rfind("https://", 0) == 0 || text.rfind("http://", 0) == 0;
  return scheme && text.find_first_of(" \r\n\t?#@") == std::string::npos && text.back() != '/';
}

WebServer ServerOf(const Settings& settings, SettingFaults& faults) {
  WebServer server;
  server.url = settings.Needed("Url", faults);
  if (!server.url.empty() && !IsUrl(server.url)) {
    faults.push_back(
        {"Url", "is no URL of http or https without user, query and slash at its end"});
  }
  server.verify = settings.Flag("VerifyServer", true);
  server.caFile = settings.Text("CaFile");
  server.caPath = settings.Text("CaPath");
  server.pinnedPublicKey = settings.Text("PinnedPublicKey");
  for (const char* key : {"CaFile", "CaPath", "Credentials"}) {
    const std::string path = settings.Text(key);
    if (settings.Holds(key) && (path.empty() || path.front() != '/')) {
      faults.push_back({key, "is not an absolute path"});
    }
  }
  if (settings.Holds("PinnedPublicKey") && server.pinnedPublicKey.rfind("sha256//", 0) != 0) {
    faults.push_back({"PinnedPublicKey", "does not begin with sha256//"});
  }
  return server;
}

// Null, and a fault, of settings that are wrong.
std::unique_ptr<Controller> OpenController(const Settings& settings, const SourceLimits& limits,
                                           SettingFaults& faults) {
  WebServer server = ServerOf(settings, faults);
  Login login;
  login.credentials = settings.Text("Credentials");
  const std::string way = settings.Holds("Login") ? settings.Text("Login") : "basic";
  login.bySession = way == "session";
  if (way != "basic" && way != "session")
    faults.push_back({"Login", "is neither basic nor session"});
  if (!faults.empty()) return nullptr;
  return std::make_unique<Controller>(std::move(server), std::move(login), limits);
}

}  // namespace

void TellResource(const std::string& answer, const std::vector<ResourcePoint>& points,
                  SourceSink& sink) {
  const JsonRef document(json_loadb(answer.data(), answer.size(), JSON_ALLOW_NUL, nullptr));
  for (const ResourcePoint& point : points) {
    if (document == nullptr) {
      sink.NoValue(point.point, Problem("its controller's answer is no JSON"));
    } else {
      TellJson(document.get(), point.pointer, point.point, sink);
    }
  }
}

std::vector<JsonKey> RedfishModule::ConnectionKeys() const {
  using Type = JsonKey::Type;
  return {{"Url", Type::kText},
          {"Credentials", Type::kText},
          {"Login", Type::kText},
          {"VerifyServer", Type::kFlag},
          {"CaFile", Type::kText},
          {"CaPath", Type::kText},
          {"PinnedPublicKey", Type::kText},
          TimeoutKey(),
          RetriesKey()};
}

std::vector<JsonKey> RedfishModule::PointKeys() const {
  return {{"Path", JsonKey::Type::kText}, {"Pointer", JsonKey::Type::kText}};
}

std::unique_ptr<SourceConnection> RedfishModule::Open(const std::string& settings,
                                                      const SourceLimits& limits,
                                                      SettingFaults& faults) const {
  return OpenController(Settings(settings), limits, faults);
}

Problem RedfishModule::FindOffer(const OfferRequest& request, SettingFaults& faults,
                                 Offer& offer) const {
  const Settings its(request.settings);
  const auto controller = OpenController(its, request.limits, faults);
  if (controller == nullptr) return {};
  OfferedSource source;
  source.name = its.Text("Url").substr(its.Text("Url").find("//") + 2);
  source.settings = request.settings;
  const FetchResource fetch = [&controller](const std::string& path, JsonRef& resource) {
    return controller->FetchJson(path, resource);
  };
  Problem problem =
      FindReadings(fetch, request.begin, request.untilMs, request.most, source.points, offer.isCut);
  if (!problem) offer.sources.push_back(std::move(source));
  return problem;
}

}  // namespace host
