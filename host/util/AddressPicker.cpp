// SPDX-License-Identifier: Apache-2.0
// Which of the machine's addresses is the appliance's.
#include "host/util/AddressPicker.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>

#include <cstring>
#include <utility>

namespace host {
namespace {

constexpr int64_t kKeptMs = 60000;

// The text of a global address of `family`; empty for others.
std::string GlobalText(const struct sockaddr* address, sa_family_t family) {
  if (address == nullptr || address->sa_family != family) return "";
  char text[INET6_ADDRSTRLEN] = "";
  if (family == AF_INET) {
    struct sockaddr_in v4 = {};
    std::memcpy(&v4, address, sizeof(v4));
    const uint32_t bits = ntohl(v4.sin_addr.s_addr);
    const bool local = (bits >> 24) == 0 || (bits >> 24) == 127 || (bits >> 16) == 0xa9fe;
    if (local || (bits >> 28) >= 14) return "";
    inet_ntop(AF_INET, &v4.sin_addr, text, sizeof(text));
  } else {
    struct sockaddr_in6 v6 = {};
    std::memcpy(&v6, address, sizeof(v6));
    const struct in6_addr& bits = v6.sin6_addr;
    if (IN6_IS_ADDR_UNSPECIFIED(&bits) || IN6_IS_ADDR_LOOPBACK(&bits) ||
        IN6_IS_ADDR_LINKLOCAL(&bits) || IN6_IS_ADDR_MULTICAST(&bits)) {
      return "";
    }
    inet_ntop(AF_INET6, &bits, text, sizeof(text));
  }
  return text;
}

std::string FirstGlobal(const struct ifaddrs* addresses, sa_family_t family) {
  for (const struct ifaddrs* entry = addresses; entry != nullptr; entry = entry->ifa_next) {
    if ((entry->ifa_flags & IFF_UP) == 0) continue;
    std::string text = GlobalText(entry->ifa_addr, family);
    if (!text.empty()) return text;
  }
  return "";
}

}  // namespace

std::string PickAddress(const struct ifaddrs* addresses) {
  for (sa_family_t family : {AF_INET, AF_INET6}) {
    std::string text = FirstGlobal(addresses, family);
    if (!text.empty()) return text;
  }
  return "127.0.0.1";
}

AddressCache::AddressCache(LookUp lookUp, std::function<int64_t()> clock)
    : m_lookUp(std::move(lookUp)), m_clock(std::move(clock)) {}

Problem AddressCache::Get(std::string& address) {
  const MutexLock guard(m_mutex);
  const int64_t now = m_clock();
  if (m_address.empty() || now >= m_end) {
    std::string found;
    if (Problem problem = m_lookUp(found)) return problem;
    m_address = found;
    m_end = now + kKeptMs;
  }
  address = m_address;
  return {};
}

}  // namespace host
