// SPDX-License-Identifier: Apache-2.0
// The monotonic clock.
#ifndef HOST_UTIL_CLOCK_H_
#define HOST_UTIL_CLOCK_H_

#include <time.h>

#include <cstdint>

namespace host {

// Milliseconds of the monotonic clock.
inline int64_t MonotonicMs() {
  struct timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

}  // namespace host

#endif  // HOST_UTIL_CLOCK_H_
