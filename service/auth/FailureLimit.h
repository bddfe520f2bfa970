// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_AUTH_FAILURELIMIT_H_
#define SERVICE_AUTH_FAILURELIMIT_H_

#include <cstdint>
#include <string>

#include "service/store/Store.h"
#include "service/util/Clock.h"

namespace cloudservice {

// Limits how often wrong keys or passwords may be presented. A sender, which is what SenderOf()
// makes of an address, has kTries for each account, so that whoever is wrong about one account does
// not shut out those who are behind the same address with another; and kTriesOfSender for all
// accounts together. They are kept in the store, so that all processes count together. Every
// operation throws DatabaseError. Any thread may call them.
class FailureLimit {
 public:
  // Tries at once, and the seconds after which each comes back.
  static constexpr std::int64_t kTries = 10;
  static constexpr std::int64_t kSecondsPerTry = 30;
  static constexpr std::int64_t kTriesOfSender = 100;
  static constexpr std::int64_t kSecondsPerTryOfSender = 3;
  // How many are remembered. When there are more, those that are wrong least are forgotten.
  static constexpr std::int64_t kMaxRemembered = 20000;

  // The store outlives this object.
  FailureLimit(Store& store, Clock clock);

  // Seconds until this address may try again for this account; 0 when it may try now.
  std::int64_t Wait(const std::string& address, const std::string& account);
  // Counts a failed try of this address for this account.
  void Fail(const std::string& address, const std::string& account);

 private:
  Store& m_store;
  const Clock m_clock;
};

}  // namespace cloudservice

#endif  // SERVICE_AUTH_FAILURELIMIT_H_
