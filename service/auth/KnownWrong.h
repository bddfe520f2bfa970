// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_AUTH_KNOWNWRONG_H_
#define SERVICE_AUTH_KNOWNWRONG_H_

#include <cstddef>
#include <deque>
#include <mutex>
#include <string>
#include <unordered_map>

namespace cloudservice {

// Remembers which keys or passwords were wrong, so that whoever sends the same wrong one again and
// again, as a badly configured appliance does, costs neither a slow hash nor a try of those who are
// behind the same address. Salted hashes are kept, in memory alone. Any thread may call the
// operations.
class KnownWrong {
 public:
  // How many are remembered; the oldest is forgotten then.
  static constexpr std::size_t kMost = 10000;

  KnownWrong();

  // Whether this secret of the account was wrong while `state`, which changes when the account's
  // secrets change, was what it is.
  bool Knows(const std::string& account, const std::string& secret, const std::string& state) const;
  void Add(const std::string& account, const std::string& secret, const std::string& state);

 private:
  std::string HashOf(const std::string& account, const std::string& secret) const;

  const std::string m_salt;
  mutable std::mutex m_mutex;                            // guards the members below
  std::unordered_map<std::string, std::string> m_wrong;  // the state, by HashOf()
  std::deque<std::string> m_order;
};

}  // namespace cloudservice

#endif  // SERVICE_AUTH_KNOWNWRONG_H_
