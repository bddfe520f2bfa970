// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_FLEETALARMS_H_
#define SERVICE_STORE_FLEETALARMS_H_

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "service/store/Records.h"

namespace cloudservice {

// The fleet's list of alarms: those of appliances, and silences, which the service itself tells of.
// A silence is open from the time on at which the appliance is late until it is heard again. It is
// a warning, and an alarm once the appliance is offline.

// What an operator has said of an open alarm: that it is looked after. It counts until the alarm
// becomes worse.
struct Acknowledgement {
  std::int64_t time = 0;
  std::string by;    // the operator's name
  std::string note;  // may be empty
};

struct AlarmName {
  enum class Kind { kAlarm, kSilence };
  Kind kind = Kind::kAlarm;
  std::int64_t id = 0;  // no other of its kind has it or had it
};

struct FleetAlarm {
  AlarmName name;
  std::string manager;  // the UUID
  std::string label;    // the appliance's name
  Severity severity = Severity::kFault;
  std::int64_t opened = 0;
  std::optional<std::int64_t> closed;  // none: it is open
  std::optional<Acknowledgement> acknowledged;
  // Of an alarm: the event that opened it or changed it last, and what that says.
  std::int64_t event = 0;
  std::string chassis;
  std::string messageId;
  std::string document;
  // Of a silence: since when the appliance was offline; none: it was late alone.
  std::optional<std::int64_t> offline;
};

// A place in the list. Open ones stand in the order of their severities, the worst first, and of
// one severity in that of the times at which they were opened, the last first; those that have
// ended in that of their ends, the last first. Of the same time alarms stand before silences, and
// of one kind the greater identifier first.
struct AlarmPlace {
  std::int64_t rank = 0;  // the severity's number; 0 for those that have ended
  std::int64_t time = 0;
  AlarmName name;
};
AlarmPlace PlaceOf(const FleetAlarm& alarm);

// A part of the list.
struct AlarmFilter {
  bool open = true;  // else those that have ended
  std::optional<Severity> severity;
  std::optional<bool> acknowledged;
  std::optional<AlarmName::Kind> kind;
  std::optional<std::string> manager;  // only those of this appliance
  std::optional<AlarmPlace> after;     // only those behind this place
  std::int64_t limit = 0;
};

// A part of the list that lies in the order of an index: of one kind and, where they are open, of
// one severity; those before the time, and of that time those with a lesser identifier.
struct AlarmStretch {
  AlarmName::Kind kind = AlarmName::Kind::kAlarm;
  std::optional<std::int64_t> rank;  // the severity's number; none: of any
  std::int64_t time = std::numeric_limits<std::int64_t>::max();
  std::int64_t id = std::numeric_limits<std::int64_t>::max();
};

// The part of the list, from stretches of it: `list` returns the first ones of a stretch that pass
// the filter's other conditions, `filter.limit` at most.
std::vector<FleetAlarm> ListByStretches(
    const AlarmFilter& filter,
    const std::function<std::vector<FleetAlarm>(const AlarmStretch& stretch)>& list);

}  // namespace cloudservice

#endif  // SERVICE_STORE_FLEETALARMS_H_
