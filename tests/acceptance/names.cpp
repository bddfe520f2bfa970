// SPDX-License-Identifier: Apache-2.0
// A name service that fails and comes back, preloaded into a program: hosts of the domain `.test`
// are this machine while the file CLOUDCLIENT_NAMES exists, and are not resolved while it does not.

#include <dlfcn.h>
#include <netdb.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace {

using Resolve = int (*)(const char*, const char*, const addrinfo*, addrinfo**);

bool IsOfDomain(const char* node) {
  constexpr std::string_view kDomain = ".test";
  const std::string_view name = node == nullptr ? "" : node;
  return name.size() > kDomain.size() && name.substr(name.size() - kDomain.size()) == kDomain;
}

bool IsUp() {
  const char* const file = getenv("CLOUDCLIENT_NAMES");
  return file != nullptr && access(file, F_OK) == 0;
}

}  // namespace

extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints,
                           addrinfo** found) {
  static const auto next = reinterpret_cast<Resolve>(dlsym(RTLD_NEXT, "getaddrinfo"));
  if (!IsOfDomain(node)) return next(node, service, hints, found);
  return IsUp() ? next("127.0.0.1", service, hints, found) : EAI_NONAME;
}
