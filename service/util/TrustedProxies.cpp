// SPDX-License-Identifier: Apache-2.0
// Who sent a request, where a proxy says so.
#include "service/util/TrustedProxies.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdint>

#include "service/util/Address.h"
#include "service/util/Text.h"

namespace cloudservice {

namespace {

constexpr std::size_t kAllBits = 128;
// The bits before an IPv4 address in the IPv6 address that it is mapped to.
constexpr std::size_t kMappedBits = 96;
constexpr std::size_t kMappedBytes = kMappedBits / 8;
constexpr std::array<unsigned char, kMappedBytes> kMapped = {0, 0, 0, 0, 0,    0,
                                                             0, 0, 0, 0, 0xff, 0xff};

template <class Bytes>
bool IsIpv4(const Bytes& address) {
  return std::equal(kMapped.begin(), kMapped.end(), address.begin());
}

template <class Bytes>
std::string TextOf(const Bytes& address) {
  char text[INET6_ADDRSTRLEN] = "";
  const bool ipv4 = IsIpv4(address);
  inet_ntop(ipv4 ? AF_INET : AF_INET6, address.data() + (ipv4 ? kMappedBytes : 0), text,
            sizeof text);
  return text;
}

// The number of bits behind the slash of a network; false unless it is one from 0 to `most`.
bool ParseBits(const std::string& text, std::size_t most, std::size_t& bits) {
  if (text.empty() || text.size() > 3) return false;
  if (text.find_first_not_of("0123456789") != std::string::npos) return false;
  bits = std::stoul(text);
  return bits <= most;
}

// What stands between two commas, without the blanks around it and without brackets and port.
std::string HostOf(const std::string& element) {
  const std::size_t begin = element.find_first_not_of(" \t");
  if (begin == std::string::npos) return "";
  const std::string text = element.substr(begin, element.find_last_not_of(" \t") + 1 - begin);
  std::string host;
  std::uint16_t port = 0;
  const bool parsed = ParseEndpoint(text, host, port) || ParseEndpoint(text + ":0", host, port);
  return parsed ? host : text;
}

}  // namespace

bool TrustedProxies::Add(const std::string& text) {
  const std::size_t slash = text.find('/');
  const std::string address = text.substr(0, slash);
  Network network = {{}, kAllBits};
  if (!Parse(address, network.first)) return false;
  if (slash != std::string::npos) {
    const bool ipv4 = address.find(':') == std::string::npos;
    const std::size_t before = ipv4 ? kMappedBits : 0;
    if (!ParseBits(text.substr(slash + 1), kAllBits - before, network.bits)) return false;
    network.bits += before;
  }
  for (std::size_t bit = network.bits; bit < kAllBits; ++bit) {
    if ((network.first.at(bit / 8) & (0x80U >> bit % 8)) != 0) return false;
  }
  m_networks.push_back(network);
  return true;
}

bool TrustedProxies::Trust(const std::string& address) const {
  Bytes bytes = {};
  // A link's own addresses come with the name of the link.
  return Parse(address.substr(0, address.find('%')), bytes) && Trust(bytes);
}

std::string TrustedProxies::SenderOf(const std::string& peer, const std::string& forwarded) const {
  if (!Trust(peer)) return peer;
  const std::vector<std::string> hops = Split(forwarded, ',');
  for (auto hop = hops.rbegin(); hop != hops.rend(); ++hop) {
    Bytes address = {};
    if (!Parse(HostOf(*hop), address)) return peer;
    if (!Trust(address)) return TextOf(address);
  }
  return peer;
}

bool TrustedProxies::Parse(const std::string& text, Bytes& bytes) {
  std::copy(kMapped.begin(), kMapped.end(), bytes.begin());
  if (inet_pton(AF_INET, text.c_str(), bytes.data() + kMappedBytes) == 1) return true;
  return inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1;
}

bool TrustedProxies::Holds(const Network& network, const Bytes& address) {
  // A network of IPv6 as large as ::/0 has no addresses of IPv4.
  if (network.bits < kMappedBits && IsIpv4(address)) return false;
  for (std::size_t bit = 0; bit < network.bits; ++bit) {
    const unsigned different = network.first.at(bit / 8) ^ address.at(bit / 8);
    if ((different & (0x80U >> bit % 8)) != 0) return false;
  }
  return true;
}

bool TrustedProxies::Trust(const Bytes& address) const {
  return std::any_of(m_networks.begin(), m_networks.end(),
                     [&](const Network& network) { return Holds(network, address); });
}

}  // namespace cloudservice
