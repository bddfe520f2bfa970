// SPDX-License-Identifier: Apache-2.0
// What doctor sees on the way to the service, and of the service.
#include "ctl/CheckService.h"

#include <strings.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <vector>

#include "base/ServiceUrl.h"
#include "ctl/ServiceRequest.h"
#include "host/config/ConfigKeys.h"
#include "host/util/Secrets.h"

namespace ctl {

using cloudclient::Policy;
using host::Problem;

namespace {

constexpr char kRootPath[] = "/redfish/v1";

constexpr long kFound = 200;
constexpr long kRedirect = 302;
constexpr long kSeeOther = 303;
constexpr long kUnauthorized = 401;
constexpr long kForbidden = 403;

std::vector<std::string> Pins() {
  std::vector<std::string> pins;
  const std::string& all = cloudclient::ThePolicy().transport.pinnedPublicKeys;
  for (size_t from = 0; from < all.size();) {
    const size_t end = std::min(all.find(';', from), all.size());
    pins.push_back(all.substr(from, end - from));
    from = end + 1;
  }
  return pins;
}

// Seconds since the epoch of "2026-03-05T13:07:09Z".
time_t TimeOf(const std::string& text) {
  struct tm fields = {};
  return strptime(text.c_str(), "%Y-%m-%dT%H:%M:%SZ", &fields) != nullptr ? timegm(&fields) : 0;
}

void CheckDates(const Certificate& certificate, Checkup& checkup) {
  constexpr time_t kSoon = 14 * 86400L;
  const time_t left = TimeOf(certificate.notAfter) - time(nullptr);
  if (left < kSoon) {
    checkup.Notice("certificate",
                   (left < 0 ? "was valid until " : "is valid until ") + certificate.notAfter,
                   "tell whoever runs the service; pin its next key beside this one");
  }
}

bool IsTls(const std::string& url) { return strncasecmp(url.c_str(), "https:", 6) == 0; }

// What the policy makes of a certificate.
void JudgeCertificate(const std::string& url, const Certificate& certificate, Checkup& checkup) {
  const Policy::Transport& transport = cloudclient::ThePolicy().transport;
  const std::vector<std::string> pins = Pins();
  const std::string trust = "cloudclientctl trust " + WithoutUser(url);
  const bool isPinned = std::find(pins.begin(), pins.end(), certificate.pin) != pins.end();
  if (isPinned) {
    checkup.Good("certificate", "its key is pinned");
  } else if (!pins.empty()) {
    checkup.Wrong("certificate", "its key is none of those that are pinned: " + certificate.pin,
                  "if it is the service's: " + trust + " --add");
  } else if (!transport.verifyServer) {
    checkup.Notice("certificate", "is not checked: anybody between can read and change everything",
                   trust);
  } else if (!transport.caFile.empty() || !transport.caPath.empty()) {
    checkup.Good("certificate", "of " + certificate.issuer + "; the policy's CA decides, below");
  } else if (certificate.storeProblem.empty() && certificate.isOfHost) {
    checkup.Good("certificate", "of " + certificate.issuer);
  } else {
    checkup.Wrong(
        "certificate",
        certificate.storeProblem.empty() ? "it does not name the host" : certificate.storeProblem,
        trust + ", or a CaFile in the policy");
  }
  if (!checkup.IsWrong("certificate")) CheckDates(certificate, checkup);
}

// Behind a proxy the certificate is not looked at here: only requests by the policy tell.
void JudgeUnseen(Checkup& checkup) {
  if (cloudclient::ThePolicy().transport.verifyServer || !Pins().empty()) return;
  checkup.Notice(
      "certificate",
      "is not checked, and behind a proxy no key is pinned here: anybody between can read "
      "and change everything",
      "set Transport.VerifyServer or Transport.PinnedPublicKey in the policy");
}

std::string DifferenceText(time_t seconds) {
  return std::to_string(std::abs(seconds)) + " s " + (seconds < 0 ? "behind" : "ahead of") +
         " the service's";
}

void CheckClock(const ServiceAnswer& answer, Checkup& checkup) {
  constexpr time_t kMuch = 60;
  if (!answer.date) {
    checkup.Skipped("clock", "the service does not say what time it is");
    return;
  }
  const time_t difference = time(nullptr) - *answer.date;
  if (std::abs(difference) <= kMuch) {
    checkup.Good("clock", DifferenceText(difference));
  } else {
    checkup.Wrong("clock", DifferenceText(difference),
                  "have this machine set its clock (timedatectl set-ntp true)");
  }
}

std::string StatusText(long status) { return "the service answers " + std::to_string(status); }

// When the service heard the appliance last, as its document says it.
void CheckHeartbeat(const ServiceAnswer& answer, Checkup& checkup) {
  const host::JsonRef manager(json_loadb(answer.body.data(), answer.body.size(), 0, nullptr));
  const json_t* found = manager.get();
  for (const char* name : {"Oem", "Quorvan", "Heartbeat"}) found = json_object_get(found, name);
  if (found == nullptr) {
    checkup.Skipped("heartbeat", "the service does not say when it heard the appliance");
    return;
  }
  const std::string last = host::JsonText(json_object_get(found, "Last"));
  if (last.empty()) {
    checkup.Notice("heartbeat", "none came yet",
                   "wait two minutes after a registration; then see the daemon's log");
  } else if (json_is_true(json_object_get(found, "Overdue"))) {
    checkup.Wrong("heartbeat", "the last came at " + last, "see the daemon's log");
  } else {
    checkup.Good("heartbeat", "the last came at " + last);
  }
}

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : value;
}

// Whether the environment excepts the URL's host from its proxies, as libcurl reads that: names of
// hosts or domains with commas or blanks between, or an asterisk.
bool IsWithoutProxy(const std::string& url) {
  std::string all = Variable("no_proxy");
  if (all.empty()) all = Variable("NO_PROXY");
  ServiceAddress address;
  const size_t behind = url.find("://");
  if (behind == std::string::npos || ParseServiceUrl("https" + url.substr(behind), address)) {
    return false;
  }
  const std::string host = "." + address.host;
  constexpr char kBetween[] = ", ";
  for (size_t from = all.find_first_not_of(kBetween); from != std::string::npos;) {
    const size_t end = std::min(all.find_first_of(kBetween, from), all.size());
    std::string name = all.substr(from, end - from);
    if (name == "*") return true;
    if (name.front() != '.') name.insert(0, ".");
    const bool ends = host.size() >= name.size() &&
                      strcasecmp(host.c_str() + host.size() - name.size(), name.c_str()) == 0;
    if (ends) return true;
    from = all.find_first_not_of(kBetween, end);
  }
  return false;
}

// What to do about a request that failed.
std::string Advice(const Checkup& checkup) {
  return checkup.CountWrong() != 0 ? "what is wrong above"
                                   : "is the URL the service's? see its log, and what is between";
}

bool RefersToManager(const ServiceAnswer& answer) {
  return (answer.status == kRedirect || answer.status == kSeeOther) && answer.url;
}

// Looks the manager up as the daemon does.
Problem LookUp(const Appliance& appliance, double seconds, ServiceAnswer& answer) {
  const std::string url = appliance.url + kRootPath + "/Managers?uuid=" + appliance.uuid;
  return AskService(url, appliance.token, seconds, answer);
}

}  // namespace

std::string ProxyTo(const std::string& url, const Policy& policy) {
  if (policy.transport.proxy) return *policy.transport.proxy;
  // The daemon's own environment may be another one; this is what is known here.
  const bool isTls = IsTls(url);
  if (IsWithoutProxy(url)) return {};
  const std::vector<const char*> names =
      isTls ? std::vector<const char*>{"https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}
            : std::vector<const char*>{"http_proxy", "all_proxy", "ALL_PROXY"};
  for (const char* name : names) {
    if (std::string value = Variable(name); !value.empty()) return value;
  }
  return {};
}

bool IsKnown(const Appliance& appliance, double seconds) {
  ServiceAnswer answer;
  return !appliance.token.empty() && !LookUp(appliance, seconds, answer) && RefersToManager(answer);
}

void CheckWay(const std::string& url, double seconds, Checkup& checkup, Certificate& shown) {
  const std::string proxy = ProxyTo(url, cloudclient::ThePolicy());
  const bool isTls = IsTls(url);
  if (!proxy.empty()) {
    checkup.Notice("proxy",
                   "requests go by " + WithoutUser(proxy) + ", which looks the service up");
    if (isTls) JudgeUnseen(checkup);
    return;
  }
  ServiceAddress address;
  const std::string named = isTls ? url : "https" + url.substr(std::min<size_t>(4, url.size()));
  if (const Problem problem = ParseServiceUrl(named, address)) {
    checkup.Wrong("connection", problem.Text(), "cloudclientctl config set Url");
    return;
  }
  host::Fd connection;
  if (const Problem problem = Dial(address, seconds, connection)) {
    checkup.Wrong("connection", problem.Text(),
                  "look at the URL, the name server, the network and firewalls");
    return;
  }
  checkup.Good("connection", "with " + address.Text());
  if (!isTls) {
    checkup.Notice("certificate", "none: everything, the token included, can be read on the way",
                   "an https URL");
    return;
  }
  if (const Problem problem = ReadCertificate(connection.Get(), address, seconds, shown)) {
    checkup.Wrong("certificate", problem.Text(),
                  "see whether the port is the service's, and speaks TLS");
    return;
  }
  JudgeCertificate(url, shown, checkup);
}

void CheckRoot(const std::string& url, double seconds, Checkup& checkup) {
  ServiceAnswer answer;
  if (const Problem problem = AskService(url + kRootPath, {}, seconds, answer)) {
    checkup.Wrong("service", host::WithoutSecrets(problem.Text()), Advice(checkup));
    return;
  }
  const host::JsonRef root(json_loadb(answer.body.data(), answer.body.size(), 0, nullptr));
  if (answer.status != kFound) {
    checkup.Wrong("service", StatusText(answer.status) + " for " + kRootPath,
                  "is the URL that of the service?");
  } else if (json_object_get(root.get(), "Managers") == nullptr) {
    checkup.Wrong("service", "its root document has no \"Managers\"",
                  "is the URL that of the service?");
  } else {
    const std::string name = host::JsonText(json_object_get(root.get(), "Name"));
    checkup.Good("service", "answers" + (name.empty() ? name : " as " + name));
  }
  CheckClock(answer, checkup);
}

bool CheckRegistration(const Appliance& appliance, double seconds, Checkup& checkup) {
  if (appliance.token.empty()) {
    checkup.Wrong("registration", "the appliance is not registered", "see the daemon's log");
    return false;
  }
  ServiceAnswer answer;
  if (const Problem problem = LookUp(appliance, seconds, answer)) {
    checkup.Wrong("registration", host::WithoutSecrets(problem.Text()), Advice(checkup));
    return false;
  }
  if (!RefersToManager(answer)) {
    const bool isRefused = answer.status == kForbidden || answer.status == kUnauthorized;
    checkup.Wrong(
        "registration",
        isRefused ? "the service does not know the appliance's token"
                  : StatusText(answer.status) + " for the look-up of the manager",
        isRefused ? "restart the daemon: it registers anew" : "tell who runs the service");
    return false;
  }
  checkup.Good("registration", "the service knows manager " + appliance.uuid);
  ServiceAnswer manager;
  if (!AskService(*answer.url, appliance.token, seconds, manager)) CheckHeartbeat(manager, checkup);
  return true;
}

void CheckChassis(const Appliance& appliance, double seconds, Checkup& checkup) {
  const host::JsonRef configured = host::CloudStore().Object(host::kChassis);
  const char* id = nullptr;
  json_t* entry = nullptr;
  json_object_foreach(configured.get(), id, entry) {
    ServiceAnswer answer;
    const std::string url = appliance.url + kRootPath + "/Chassis/" + id;
    const Problem problem = AskService(url, appliance.token, seconds, answer);
    if (problem) {
      checkup.Wrong("chassis", host::WithoutSecrets(problem.Text()), Advice(checkup));
    } else if (answer.status != kFound) {
      checkup.Wrong("chassis", StatusText(answer.status) + " for chassis " + id,
                    "cloudclientctl disable, then enable: the service forgets what it has");
    } else {
      checkup.Good("chassis", id);
    }
  }
  if (json_object_size(configured.get()) == 0) {
    checkup.Wrong("chassis", "none: neither heartbeats nor alarms nor values are sent",
                  "see the daemon's log; cloudclientctl disable, then enable");
  }
}

}  // namespace ctl
