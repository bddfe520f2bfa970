// SPDX-License-Identifier: Apache-2.0
#ifndef BASE_RANDOMBYTES_H_
#define BASE_RANDOMBYTES_H_

#include <cstddef>

namespace cloudclient {

// Fills `bytes` with the system's random numbers; false, the bytes undefined, when there are none
// to be had, as without a descriptor. Any thread.
bool RandomBytes(void* bytes, size_t size);

}  // namespace cloudclient

#endif  // BASE_RANDOMBYTES_H_
