// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_TRUSTEDPROXIES_H_
#define SERVICE_UTIL_TRUSTEDPROXIES_H_

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace cloudservice {

// The proxies that are believed when they say who sent a request. Without any, nobody is.
class TrustedProxies {
 public:
  // Adds an address, or a network as "192.0.2.0/24" or "2001:db8::/32". False, and nothing is
  // added, when `text` is neither, or has bits beyond its network.
  bool Add(const std::string& text);

  // Whether the address is a trusted proxy's.
  bool Trust(const std::string& address) const;

  // Who sent a request that came from the address `peer`. `forwarded` is the value of
  // X-Forwarded-For: addresses, separated by commas, each put behind the others by a proxy, with a
  // port or without. Where `peer` is trusted it is the last of them that is no trusted proxy; where
  // there is none, or something before it is no address, and everywhere else, it is `peer`.
  std::string SenderOf(const std::string& peer, const std::string& forwarded) const;

 private:
  // An IPv4 address is kept as the IPv6 address that it is mapped to.
  using Bytes = std::array<unsigned char, 16>;
  struct Network {
    Bytes first;
    std::size_t bits;
  };

  static bool Parse(const std::string& text, Bytes& bytes);
  static bool Holds(const Network& network, const Bytes& address);
  bool Trust(const Bytes& address) const;

  std::vector<Network> m_networks;
};

}  // namespace cloudservice

#endif  // SERVICE_UTIL_TRUSTEDPROXIES_H_
