// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_RULES_H_
#define SERVICE_STORE_RULES_H_

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace cloudservice {

// The rules about states and alarms, each in one place. Back ends store the results of these
// functions and search by them.

enum class State { kAlive, kLate, kOffline };
// How many appliances are in each state, in the order of State.
using StateCounts = std::array<std::int64_t, 3>;

// When an appliance becomes late and offline unless a heartbeat comes, in seconds since 1970.
struct DueTimes {
  std::int64_t late = 0;     // twice the interval after the last heartbeat
  std::int64_t offline = 0;  // three times the interval after the last heartbeat
};

// For an appliance that has not sent a heartbeat yet, the registration counts as its last heartbeat
// and 120 seconds as its interval.
DueTimes DueTimesOf(std::int64_t registered, const std::optional<std::int64_t>& last,
                    const std::optional<std::int64_t>& interval);

// The state at the time `now` of an appliance with these times.
State StateAt(std::int64_t now, const DueTimes& due);

// kAlarm opens or changes an alarm, and kClear closes one. The others leave alarms alone: kMessage
// is an event of the device's catalogue, kPoint an event about a point's value.
enum class EventKind { kAlarm, kClear, kMessage, kPoint };

// The kind of an event with this message identifier and severity.
EventKind KindOf(const std::string& messageId, const std::string& severity);

enum class Severity { kFault, kAlarm, kWarning };
// Counts by severity, in the order of Severity.
using AlarmCounts = std::array<std::int64_t, 3>;

// The severity that the word of an alarm event stands for, in any case of letters.
Severity SeverityOf(const std::string& word);

}  // namespace cloudservice

#endif  // SERVICE_STORE_RULES_H_
