// SPDX-License-Identifier: Apache-2.0
// Waits between attempts.
#include "base/RetryWait.h"

#include <time.h>

#include <algorithm>
#include <cstdint>

#include "base/RandomBytes.h"

namespace cloudclient {
namespace {

timespec MonotonicTime() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now;
}

// Of 0 to below 1. Without the system's random numbers that of the clock's nanoseconds, in which
// appliances differ too.
double Fraction() {
  constexpr double kNumbers = 4294967296.0;
  uint32_t number = 0;
  if (!RandomBytes(&number, sizeof number)) {
    number = static_cast<uint32_t>(MonotonicTime().tv_nsec) << 2;
  }
  return number / kNumbers;
}

}  // namespace

double RetryWait::Now() {
  const timespec now = MonotonicTime();
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

void RetryWait::Begin(double now, long first, long most) {
  m_longest = m_longest == 0 ? first : std::min(2 * m_longest, most);
  m_end = now + static_cast<double>(m_longest) * (1 + Fraction()) / 2;
}

}  // namespace cloudclient
