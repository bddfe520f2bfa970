// SPDX-License-Identifier: Apache-2.0
// The limit of wrong keys and passwords from one sender.
#include "service/auth/FailureLimit.h"

#include <algorithm>
#include <utility>

#include "service/util/Sender.h"

namespace cloudservice {

FailureLimit::FailureLimit(Clock clock) : m_clock(std::move(clock)) {}

std::int64_t FailureLimit::Wait(const std::string& address) const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  const auto found = m_whole.find(SenderOf(address));
  if (found == m_whole.end()) return 0;
  // From this time on the sender has at least one try.
  const std::int64_t next = found->second - (kTries - 1) * kSecondsPerTry;
  return std::max<std::int64_t>(0, next - m_clock());
}

void FailureLimit::Fail(const std::string& address) {
  const std::int64_t now = m_clock();
  const std::lock_guard<std::mutex> guard(m_mutex);
  std::int64_t& whole = m_whole[SenderOf(address)];
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
