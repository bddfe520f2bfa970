// SPDX-License-Identifier: Apache-2.0
// When an appliance is late or offline, what opens and closes an alarm, how severe it is.
#include "service/store/Rules.h"

#include "service/util/Text.h"

namespace cloudservice {

namespace {

constexpr std::int64_t kFirstInterval = 120;
constexpr std::int64_t kLateFactor = 2;
constexpr std::int64_t kOfflineFactor = 3;

// An event with this message identifier clears the alarm that its fourth argument names.
constexpr const char* kClearing = "258";
// Message identifiers of the device's catalogue begin with this, in any case of letters.
constexpr const char* kCatalogue = "zarvel.gdd.";

}  // namespace

DueTimes DueTimesOf(std::int64_t registered, const std::optional<std::int64_t>& last,
                    const std::optional<std::int64_t>& interval) {
  const std::int64_t from = last.value_or(registered);
  const std::int64_t step = interval.value_or(kFirstInterval);
  return {from + kLateFactor * step, from + kOfflineFactor * step};
}

State StateAt(std::int64_t now, const DueTimes& due) {
  if (now >= due.offline) return State::kOffline;
  return now >= due.late ? State::kLate : State::kAlive;
}

EventKind KindOf(const std::string& messageId, const std::string& severity) {
  if (messageId == kClearing) return EventKind::kClear;
  const std::string word = Lower(severity);
  if (word != "message" && word != "cleared" && word != "ok") return EventKind::kAlarm;
  return Lower(messageId).rfind(kCatalogue, 0) == 0 ? EventKind::kMessage : EventKind::kPoint;
}

Severity SeverityOf(const std::string& word) {
  const std::string lower = Lower(word);
  if (lower == "fault" || lower == "critical") return Severity::kFault;
  return lower == "warning" ? Severity::kWarning : Severity::kAlarm;
}

}  // namespace cloudservice
