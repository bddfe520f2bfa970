// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_RULES_H_
#define SERVICE_STORE_RULES_H_

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace cloudservice {

// What counts as what, each rule once: back ends keep what these functions say, and ask by that.

enum class State { kAlive, kLate, kOffline };
// How many appliances are in which.
using StateCounts = std::array<std::int64_t, 3>;

// When the state of an appliance changes unless a heartbeat comes, in seconds since 1970.
struct DueTimes {
  std::int64_t late = 0;     // from twice the interval since the last heartbeat on
  std::int64_t offline = 0;  // from three times the interval on: overdue by twice of it
};

// The registration stands for the heartbeat of an appliance that has sent none yet, and 120 seconds
// for its interval.
DueTimes DueTimesOf(std::int64_t registered, const std::optional<std::int64_t>& last,
                    const std::optional<std::int64_t>& interval);

// The state at the time `now`.
State StateAt(std::int64_t now, const DueTimes& due);

// kClear closes an alarm, kAlarm opens or changes one, the others do nothing to any: kMessage is
// one of the device's catalogue, kPoint one about a point's value.
enum class EventKind { kAlarm, kClear, kMessage, kPoint };

// What an event with this identifier and severity is.
EventKind KindOf(const std::string& messageId, const std::string& severity);

enum class Severity { kFault, kAlarm, kWarning };
// Open alarms by severity.
using AlarmCounts = std::array<std::int64_t, 3>;

// What a word that opens an alarm counts as.
Severity SeverityOf(const std::string& word);

}  // namespace cloudservice

#endif  // SERVICE_STORE_RULES_H_
