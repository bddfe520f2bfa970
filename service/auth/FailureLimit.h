// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_AUTH_FAILURELIMIT_H_
#define SERVICE_AUTH_FAILURELIMIT_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "service/util/Clock.h"

namespace cloudservice {

// Limits how often a sender may present a wrong key or password: kTries times at once, and once
// more after each kSecondsPerTry seconds. A sender is what SenderOf() makes of an address. Any
// thread may call the operations.
class FailureLimit {
 public:
  static constexpr std::int64_t kTries = 10;
  static constexpr std::int64_t kSecondsPerTry = 30;
  // How many senders are remembered. When there are more, those with the fewest failures are
  // forgotten.
  static constexpr std::size_t kMaxAddresses = 10000;

  // `clock` never goes back.
  explicit FailureLimit(Clock clock);

  // Seconds until this address may try again; 0 when it may try now.
  std::int64_t Wait(const std::string& address) const;
  // Counts a failed try of this address.
  void Fail(const std::string& address);

  std::size_t Addresses() const;

 private:
  void Forget(std::int64_t now);

  const Clock m_clock;
  mutable std::mutex m_mutex;
  // For each sender, the time at which it has all its tries again.
  std::map<std::string, std::int64_t> m_whole;
};

}  // namespace cloudservice

#endif  // SERVICE_AUTH_FAILURELIMIT_H_
