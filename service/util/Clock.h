// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_CLOCK_H_
#define SERVICE_UTIL_CLOCK_H_

#include <chrono>
#include <cstdint>
#include <ctime>
#include <functional>
#include <optional>
#include <string>

namespace cloudservice {

// A clock that counts seconds; tests pass their own.
using Clock = std::function<time_t()>;

// The wall clock: time(nullptr).
time_t WallClock();

// A clock that never goes back, also when the wall clock is set: std::chrono::steady_clock::now;
// tests pass their own.
using SteadyNow = std::function<std::chrono::steady_clock::time_point()>;

// Local time with the zone's offset: 2026-03-05T14:07:09+0100.
std::string LogTime(time_t when);

// Local time with a colon in the zone's offset, as Redfish wants it: 2026-03-05T14:07:09+01:00.
std::string RedfishTime(time_t when);

// The time in UTC: 2026-03-05T13:07:09Z.
std::string UtcTime(time_t when);

// Seconds since 1970 of a date and time with seconds and an offset: "Z", "+01:00" or "+0100". Drops
// a fraction of a second. None for every other text.
std::optional<std::int64_t> ParseTime(const std::string& text);

// The time as HTTP's Date header writes it: Thu, 05 Mar 2026 13:07:09 GMT.
std::string HttpDate(time_t when);

}  // namespace cloudservice

#endif  // SERVICE_UTIL_CLOCK_H_
