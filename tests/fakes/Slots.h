// SPDX-License-Identifier: Apache-2.0
#ifndef FAKES_SLOTS_H_
#define FAKES_SLOTS_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace fakes {

// Slot of a virtual operation, -1 for one that is not virtual. Itanium ABI: an odd first word is
// one more than the offset into the table; on ARM the mark is in the second word instead.
template <typename Member>
int SlotOf(Member member) {
  static_assert(sizeof member == 2 * sizeof(intptr_t), "not the Itanium ABI");
  std::array<intptr_t, 2> words = {};
  std::memcpy(words.data(), &member, sizeof member);
#if defined(__arm__) || defined(__aarch64__)
  const bool isVirtual = (words[1] & 1) != 0;
  const intptr_t offset = words[0];
#else
  const bool isVirtual = (words[0] & 1) != 0;
  const intptr_t offset = words[0] - 1;
#endif
  return isVirtual ? static_cast<int>(offset / static_cast<intptr_t>(sizeof(void*))) : -1;
}

}  // namespace fakes

#endif  // FAKES_SLOTS_H_
