// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_RULES_H_
#define SERVICE_STORE_RULES_H_

#include <array>
#include <cstdint>
#include <string>

namespace cloudservice {

// What the schema's columns are made by, too; one who changes a rule here changes it there.

// Seconds that stand for the interval of an appliance that has sent no heartbeat yet; the
// registration stands for the heartbeat.
constexpr std::int64_t kFirstInterval = 120;
// From so many intervals since the last heartbeat on an appliance is late, and offline.
constexpr std::int64_t kLateFactor = 2;
constexpr std::int64_t kOfflineFactor = 3;

enum class State { kAlive, kLate, kOffline };
// How many appliances are in which.
using StateCounts = std::array<std::int64_t, 3>;

enum class Severity { kFault, kAlarm, kWarning };
// Open alarms by severity.
using AlarmCounts = std::array<std::int64_t, 3>;

// What a word that opens an alarm counts as.
Severity SeverityOf(const std::string& word);

}  // namespace cloudservice

#endif  // SERVICE_STORE_RULES_H_
