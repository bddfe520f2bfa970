// SPDX-License-Identifier: Apache-2.0
// The limit of wrong keys and passwords.
#include "service/auth/FailureLimit.h"

#include <algorithm>
#include <utility>

#include "service/util/Secret.h"
#include "service/util/Sender.h"

namespace cloudservice {

namespace {

// The account is hashed: what a stranger sends in its place may be long.
std::string NameOf(const std::string& sender, const std::string& account) {
  return sender + " " + Sha256Hex(account);
}

// What is further ahead was counted before the clock was set back.
constexpr std::int64_t kMostAhead = 86400;

// The seconds until there is a try again, of `tries` of which each comes back after `seconds`,
// where all are back at the time `whole`.
std::int64_t WaitOf(std::int64_t whole, std::int64_t tries, std::int64_t seconds,
                    std::int64_t now) {
  if (whole - now > kMostAhead) return 0;
  return std::max<std::int64_t>(0, whole - (tries - 1) * seconds - now);
}

}  // namespace

FailureLimit::FailureLimit(Store& store, Clock clock) : m_store(store), m_clock(std::move(clock)) {}

std::int64_t FailureLimit::Wait(const std::string& address, const std::string& account) {
  const std::string sender = SenderOf(address);
  const std::string name = NameOf(sender, account);
  const std::int64_t now = m_clock();
  return m_store.Read([&](Transaction& store) {
    return std::max(
        WaitOf(store.FindFailures(name), kTries, kSecondsPerTry, now),
        WaitOf(store.FindFailures(sender), kTriesOfSender, kSecondsPerTryOfSender, now));
  });
}

void FailureLimit::Fail(const std::string& address, const std::string& account) {
  const std::string sender = SenderOf(address);
  const std::string name = NameOf(sender, account);
  const std::int64_t now = m_clock();
  m_store.Write([&](Transaction& store) {
    store.AddFailure(name, now, kSecondsPerTry, kMaxRemembered);
    store.AddFailure(sender, now, kSecondsPerTryOfSender, kMaxRemembered);
  });
}

}  // namespace cloudservice
