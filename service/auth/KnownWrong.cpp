// SPDX-License-Identifier: Apache-2.0
// Keys and passwords that were wrong a moment ago.
#include "service/auth/KnownWrong.h"

#include "service/util/Secret.h"

namespace cloudservice {

namespace {

constexpr std::size_t kSaltBytes = 32;

}  // namespace

KnownWrong::KnownWrong() : m_salt(RandomHex(kSaltBytes)) {}

// The account's length keeps "a" with "bc" apart from "ab" with "c".
std::string KnownWrong::HashOf(const std::string& account, const std::string& secret) const {
  return Sha256Hex(m_salt + std::to_string(account.size()) + " " + account + secret);
}

bool KnownWrong::Knows(const std::string& account, const std::string& secret,
                       const std::string& state) const {
  const std::string hash = HashOf(account, secret);
  const std::lock_guard<std::mutex> guard(m_mutex);
  const auto found = m_wrong.find(hash);
  return found != m_wrong.end() && found->second == state;
}

void KnownWrong::Add(const std::string& account, const std::string& secret,
                     const std::string& state) {
  const std::string hash = HashOf(account, secret);
  const std::lock_guard<std::mutex> guard(m_mutex);
  if (m_wrong.insert_or_assign(hash, state).second) m_order.push_back(hash);
  if (m_order.size() <= kMost) return;
  m_wrong.erase(m_order.front());
  m_order.pop_front();
}

}  // namespace cloudservice
