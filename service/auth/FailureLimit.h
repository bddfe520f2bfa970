// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_AUTH_FAILURELIMIT_H_
#define SERVICE_AUTH_FAILURELIMIT_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "service/util/Clock.h"

namespace cloudservice {

// How often an address may be wrong: kTries at once, and one more each kSecondsPerTry. An IPv6
// address stands for its network of 64 bits, all of which one sender may have. One thread.
class FailureLimit {
 public:
  static constexpr std::int64_t kTries = 10;
  static constexpr std::int64_t kSecondsPerTry = 30;
  // As many addresses are remembered; of more, those that were wrong least are forgotten.
  static constexpr std::size_t kMaxAddresses = 10000;

  // `clock` never goes back.
  explicit FailureLimit(Clock clock);

  // Seconds until this address may try again; 0: it may.
  std::int64_t Wait(const std::string& address) const;
  // It has tried and was wrong.
  void Fail(const std::string& address);

  std::size_t Addresses() const { return m_whole.size(); }

 private:
  void Forget(std::int64_t now);

  const Clock m_clock;
  // When the address has all its tries again.
  std::map<std::string, std::int64_t> m_whole;
};

}  // namespace cloudservice

#endif  // SERVICE_AUTH_FAILURELIMIT_H_
