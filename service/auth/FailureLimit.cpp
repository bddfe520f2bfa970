// SPDX-License-Identifier: Apache-2.0
// The limit of wrong keys and passwords from one sender.
#include "service/auth/FailureLimit.h"

#include <arpa/inet.h>

#include <algorithm>
#include <utility>

namespace cloudservice {

namespace {

// The sender that an address belongs to: the address itself, or the network of an IPv6 address.
std::string Sender(const std::string& address) {
  struct in6_addr binary = {};
  if (inet_pton(AF_INET6, address.c_str(), &binary) != 1 || IN6_IS_ADDR_V4MAPPED(&binary)) {
    return address;
  }
  constexpr std::size_t kNetworkBytes = 8;
  std::fill(binary.s6_addr + kNetworkBytes, binary.s6_addr + sizeof binary.s6_addr, 0);
  char text[INET6_ADDRSTRLEN] = "";
  inet_ntop(AF_INET6, &binary, text, sizeof text);
  return text;
}

}  // namespace

FailureLimit::FailureLimit(Clock clock) : m_clock(std::move(clock)) {}

std::int64_t FailureLimit::Wait(const std::string& address) const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  const auto found = m_whole.find(Sender(address));
  if (found == m_whole.end()) return 0;
  // From this time on the sender has at least one try.
  const std::int64_t next = found->second - (kTries - 1) * kSecondsPerTry;
  return std::max<std::int64_t>(0, next - m_clock());
}

void FailureLimit::Fail(const std::string& address) {
  const std::int64_t now = m_clock();
  const std::lock_guard<std::mutex> guard(m_mutex);
  std::int64_t& whole = m_whole[Sender(address)];
  whole = std::max(whole, now) + kSecondsPerTry;
  if (m_whole.size() > kMaxAddresses) Forget(now);
}

std::size_t FailureLimit::Addresses() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return m_whole.size();
}

void FailureLimit::Forget(std::int64_t now) {
  for (auto entry = m_whole.begin(); entry != m_whole.end();) {
    entry = entry->second <= now ? m_whole.erase(entry) : std::next(entry);
  }
  if (m_whole.size() <= kMaxAddresses) return;
  m_whole.erase(std::min_element(m_whole.begin(), m_whole.end(),
                                 [](const auto& a, const auto& b) { return a.second < b.second; }));
}

}  // namespace cloudservice
