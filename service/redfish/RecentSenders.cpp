// SPDX-License-Identifier: Apache-2.0
// Whose token was known a moment ago.
#include "service/redfish/RecentSenders.h"

#include <algorithm>
#include <charconv>

namespace cloudservice {

namespace {

constexpr std::size_t kDigits = 16;
constexpr int kHexadecimal = 16;
// Marks that one place has room for: as many as a processor reads at once. A large fleet's tokens
// fill the places unevenly, and those that take room from each other would cost a look each time.
constexpr std::size_t kRoom = 8;

std::uint64_t MarkOf(const std::string& tokenHash) {
  std::uint64_t mark = 0;
  std::from_chars(tokenHash.data(), tokenHash.data() + kDigits, mark, kHexadecimal);
  return mark;
}

}  // namespace

void RecentSenders::Add(const std::string& tokenHash) {
  const std::uint64_t mark = MarkOf(tokenHash);
  if (Has(tokenHash)) return;
  std::atomic<std::uint64_t>* const place = PlaceOf(mark);
  for (std::size_t i = 0; i < kRoom; ++i) {
    std::uint64_t none = 0;
    if (place[i].compare_exchange_strong(none, mark, std::memory_order_relaxed)) return;
  }
  place[mark / kMarks % kRoom].store(mark, std::memory_order_relaxed);
}

void RecentSenders::Forget(const std::string& tokenHash) {
  const std::uint64_t mark = MarkOf(tokenHash);
  std::atomic<std::uint64_t>* const place = PlaceOf(mark);
  for (std::size_t i = 0; i < kRoom; ++i) {
    std::uint64_t known = mark;
    place[i].compare_exchange_strong(known, 0, std::memory_order_relaxed);
  }
}

bool RecentSenders::Has(const std::string& tokenHash) const {
  const std::uint64_t mark = MarkOf(tokenHash);
  const std::atomic<std::uint64_t>* const place = PlaceOf(mark);
  return std::any_of(place, place + kRoom, [mark](const std::atomic<std::uint64_t>& one) {
    return one.load(std::memory_order_relaxed) == mark;
  });
}

const std::atomic<std::uint64_t>* RecentSenders::PlaceOf(std::uint64_t mark) const {
  return &m_marks[mark % (kMarks / kRoom) * kRoom];
}

std::atomic<std::uint64_t>* RecentSenders::PlaceOf(std::uint64_t mark) {
  return &m_marks[mark % (kMarks / kRoom) * kRoom];
}

}  // namespace cloudservice
