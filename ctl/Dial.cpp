// SPDX-License-Identifier: Apache-2.0
// A connection with a service: its URL, its name, TCP, each within its time.
#include "ctl/Dial.h"

#include <netdb.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <future>
#include <memory>
#include <vector>

#include "host/util/Numbers.h"
#include "host/util/QuietThread.h"
#include "host/util/Secrets.h"

namespace ctl {

using host::Problem;

namespace {

constexpr char kScheme[] = "https://";
constexpr char kHttpsPort[] = "443";
constexpr double kHighestPort = 65535;

bool IsPort(const std::string& text) {
  double number = 0;
  return text.find_first_not_of("0123456789") == std::string::npos &&
         host::ParseNumber(text, number) && number >= 1 && number <= kHighestPort;
}

// What looking a name up came to.
struct Found {
  using List = std::unique_ptr<addrinfo, void (*)(addrinfo*)>;

  int error = 0;
  int systemError = 0;
  List list = List(nullptr, &freeaddrinfo);
};

void LookUp(const ServiceAddress& address, Found& found) {
  addrinfo hints = {};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* list = nullptr;
  found.error = getaddrinfo(address.host.c_str(), address.port.c_str(), &hints, &list);
  found.systemError = errno;
  if (found.error == 0) found.list.reset(list);
}

Problem Resolve(const ServiceAddress& address, double seconds, Found::List& list) {
  const auto found = std::make_shared<Found>();
  if (!RunWithin(seconds, [address, found] { LookUp(address, *found); })) {
    return Problem("the name " + address.host + " was not found within " + SecondsText(seconds));
  }
  if (found->error == 0) {
    list = std::move(found->list);
    return {};
  }
  if (found->error == EAI_NONAME) return Problem("there is no host " + address.host);
  const Problem reason = found->error == EAI_SYSTEM ? Problem::OfErrno(found->systemError)
                                                    : Problem(gai_strerror(found->error));
  return reason.With("the name " + address.host + " cannot be looked up");
}

// ETIMEDOUT when it does not stand at `end`.
Problem ConnectWith(const addrinfo& to, SteadyClock::time_point end, host::Fd& connection) {
  host::Fd link(
      socket(to.ai_family, to.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, to.ai_protocol));
  if (!link.IsOpen()) return Problem::OfErrno(errno);
  if (connect(link.Get(), to.ai_addr, to.ai_addrlen) != 0) {
    if (errno != EINPROGRESS) return Problem::OfErrno(errno);
    if (!WaitUntilReady(link.Get(), POLLOUT, end)) return Problem::OfErrno(ETIMEDOUT);
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(link.Get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0) error = errno;
    if (error != 0) return Problem::OfErrno(error);
  }
  connection = std::move(link);
  return {};
}

}  // namespace

std::string ServiceAddress::Text() const {
  const bool isIpv6 = host.find(':') != std::string::npos;
  return (isIpv6 ? "[" + host + "]" : host) + ":" + port;
}

std::string WithoutUser(std::string url) {
  const size_t scheme = url.find("://");
  const size_t begin = scheme == std::string::npos ? 0 : scheme + 3;
  const size_t at = url.rfind('@', url.find_first_of("/?#", begin));
  if (at != std::string::npos && at >= begin) url.replace(begin, at - begin, host::kMask);
  return url;
}

Problem ParseServiceUrl(const std::string& url, ServiceAddress& address) {
  constexpr size_t kSchemeSize = sizeof kScheme - 1;
  if (strncasecmp(url.c_str(), kScheme, kSchemeSize) != 0) {
    return Problem("a service with a certificate has a URL that begins with https://");
  }
  std::string authority =
      url.substr(kSchemeSize, url.find_first_of("/?#", kSchemeSize) - kSchemeSize);
  authority.erase(0, authority.rfind('@') + 1);
  Problem wrong("'" + WithoutUser(url) + "' names no host, or a port that is none");
  const bool isBracketed = authority.compare(0, 1, "[") == 0;
  const size_t bracket = isBracketed ? authority.find(']') : 0;
  if (bracket == std::string::npos) return wrong;
  const size_t colon = authority.find(':', bracket);
  ServiceAddress parsed;
  parsed.host = isBracketed ? authority.substr(1, bracket - 1) : authority.substr(0, colon);
  parsed.port = colon == std::string::npos ? kHttpsPort : authority.substr(colon + 1);
  const size_t hostEnd = isBracketed ? bracket + 1 : parsed.host.size();
  const bool ends = hostEnd == std::min(colon, authority.size());
  const bool plain = std::all_of(parsed.host.begin(), parsed.host.end(), [](char c) {
    return static_cast<unsigned char>(c) > 0x20 && c != 0x7f;
  });
  if (!ends || !plain || parsed.host.empty() || !IsPort(parsed.port)) return wrong;
  address = parsed;
  return {};
}

SteadyClock::time_point After(double seconds) {
  return SteadyClock::now() + std::chrono::microseconds(static_cast<int64_t>(seconds * 1e6));
}

std::string SecondsText(double seconds) {
  char text[32];
  snprintf(text, sizeof text, "%g s", seconds);
  return text;
}

bool WaitUntilReady(int fd, short events, SteadyClock::time_point end) {
  for (;;) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - SteadyClock::now());
    struct pollfd one = {fd, events, 0};
    const int ready = poll(&one, 1, static_cast<int>(std::max<int64_t>(left.count(), 0)));
    if (ready > 0) return true;
    if (ready == 0 && left.count() <= 0) return false;
  }
}

bool RunWithin(double seconds, std::function<void()> work) {
  const auto done = std::make_shared<std::promise<void>>();
  host::StartQuietThread([done, body = std::move(work)] {
    body();
    done->set_value();
  }).detach();
  return done->get_future().wait_until(After(seconds)) == std::future_status::ready;
}

Problem Dial(const ServiceAddress& address, double seconds, host::Fd& connection) {
  Found::List list(nullptr, &freeaddrinfo);
  if (Problem problem = Resolve(address, seconds, list)) return problem;
  std::vector<const addrinfo*> candidates;
  for (const addrinfo* one = list.get(); one != nullptr; one = one->ai_next) {
    candidates.push_back(one);
  }
  const double share = seconds / static_cast<double>(candidates.size());
  Problem last;
  for (const addrinfo* one : candidates) {
    last = ConnectWith(*one, After(share), connection);
    if (!last) return {};
  }
  if (last.Errno() == ETIMEDOUT) {
    return Problem("no connection with " + address.Text() + " within " + SecondsText(seconds));
  }
  return last.With("no connection with " + address.Text());
}

}  // namespace ctl
