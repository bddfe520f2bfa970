// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_RECENTSENDERS_H_
#define SERVICE_REDFISH_RECENTSENDERS_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace cloudservice {

// A guess who sends with a token that is known: those who did so lately, as far as there is room.
// The store alone knows; a wrong guess costs no more than a look there. Any thread may call the
// operations.
class RecentSenders {
 public:
  RecentSenders() : m_marks(kMarks) {}

  // `tokenHash`: what Sha256Hex() makes of a token.
  void Add(const std::string& tokenHash);
  void Forget(const std::string& tokenHash);
  bool Has(const std::string& tokenHash) const;

 private:
  // More than twice a large fleet.
  static constexpr std::size_t kMarks = 1 << 17;

  // The first mark of the place where a mark has to be; tokens take room from each other only where
  // it is full.
  const std::atomic<std::uint64_t>* PlaceOf(std::uint64_t mark) const;
  std::atomic<std::uint64_t>* PlaceOf(std::uint64_t mark);

  // Each the beginning of a token's hash, or 0.
  std::vector<std::atomic<std::uint64_t>> m_marks;
};

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_RECENTSENDERS_H_
