// SPDX-License-Identifier: Apache-2.0
// Whose token was known a moment ago.
#include "service/redfish/RecentSenders.h"

#include <charconv>

namespace cloudservice {

namespace {

constexpr std::size_t kDigits = 16;
constexpr int kHexadecimal = 16;

std::uint64_t MarkOf(const std::string& tokenHash) {
  std::uint64_t mark = 0;
  std::from_chars(tokenHash.data(), tokenHash.data() + kDigits, mark, kHexadecimal);
  return mark;
}

}  // namespace

void RecentSenders::Add(const std::string& tokenHash) {
  const std::uint64_t mark = MarkOf(tokenHash);
  m_marks[mark % kPlaces].store(mark, std::memory_order_relaxed);
}

void RecentSenders::Forget(const std::string& tokenHash) {
  std::uint64_t mark = MarkOf(tokenHash);
  m_marks[mark % kPlaces].compare_exchange_strong(mark, 0, std::memory_order_relaxed);
}

bool RecentSenders::Has(const std::string& tokenHash) const {
  const std::uint64_t mark = MarkOf(tokenHash);
  return m_marks[mark % kPlaces].load(std::memory_order_relaxed) == mark;
}

}  // namespace cloudservice
