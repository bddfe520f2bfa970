// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_RECORDS_H_
#define SERVICE_STORE_RECORDS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "service/json/Numbers.h"
#include "service/store/Rules.h"
#include "service/store/Shown.h"

namespace cloudservice {

// Times are seconds since 1970, UTC. Documents are JSON texts, as they were sent until a PATCH
// changes them.

// How long things are kept, in seconds.
struct Retention {
  std::int64_t history = 7 * 24 * 3600;
  std::int64_t events = 365 * 24 * 3600;
};

struct Heartbeat {
  std::int64_t count = 0;
  std::optional<std::int64_t> last;
  std::optional<std::int64_t> interval;  // seconds, as announced by the last one
};

struct ManagerRecord {
  std::string uuid;
  std::string name;
  std::string document;
  std::int64_t registered = 0;
  Heartbeat heartbeat;
  std::optional<std::int64_t> account = std::nullopt;  // with which it registered; none: it is gone
  std::string address = {};  // from which it was heard of last; empty: not known
};

struct AccountRecord {
  std::int64_t id = 0;
  std::string email;
  std::int64_t created = 0;
  std::int64_t keys = 0;      // how many it has
  std::int64_t managers = 0;  // the same
};

struct OperatorRecord {
  std::int64_t id = 0;  // given by the store, never twice
  std::string name;
  std::optional<std::string> passwordHash;
  std::optional<std::string> tokenHash;
  std::int64_t created = 0;
};

// A manager as operators see it in a list.
struct ApplianceRecord {
  std::string uuid;
  Shown shown;  // with the name that it registered with where its document has none
  std::int64_t registered = 0;
  Heartbeat heartbeat;
  std::string address;                 // from which it was heard of last; empty: not known
  std::int64_t changed = 0;            // its document
  AlarmCounts alarms = {};             // open ones
  std::optional<std::string> email;    // its account's
  std::optional<std::string> chassis;  // its first
};

// In what state its heartbeats leave it.
State StateOf(const ApplianceRecord& appliance, std::int64_t now);
State StateOf(const ManagerRecord& manager, std::int64_t now);

// Where an appliance stands in a list: what the list is ordered by before the names, and these.
struct FleetPlace {
  std::vector<std::int64_t> ranks;
  std::string label;
  std::string uuid;
};

// A part of the list of all appliances.
struct FleetFilter {
  enum class Sort { kName, kState, kAlarms, kHeartbeat, kRegistered };
  Sort sort = Sort::kName;  // equals by their names, and those by their UUIDs
  bool descending = false;
  std::int64_t now = 0;              // what states are told by
  std::optional<State> state;        // those in it
  std::optional<Severity> severity;  // those with an open alarm of it
  std::optional<std::string> text;   // in lower case; those that have it in what a list shows
  std::optional<FleetPlace> after;   // those behind it; else
  std::int64_t offset = 0;           // those behind so many
  std::int64_t limit = 0;
};

// The place of the appliance in the order that the filter asks for.
FleetPlace PlaceOf(const ApplianceRecord& appliance, const FleetFilter& filter);

struct AlarmRecord {
  std::int64_t id = 0;
  std::int64_t event = 0;  // which opened it or changed it last
  std::string chassis;
  std::string messageId;
  std::string severity;
  std::string document;  // the event's
  std::int64_t opened = 0;
};

struct ChassisRecord {
  std::string id;
  std::string manager;  // its owner's UUID
  std::string document;
  std::int64_t created = 0;
};

struct ResourceRecord {
  std::string path;
  std::string manager;
  std::optional<std::string> chassis;  // none: it hangs below the manager itself
  std::string document;
  std::int64_t changed = 0;
};

// What a PATCH said about the numbers of a document.
struct Readings {
  std::string path;
  std::string manager;
  std::optional<std::string> chassis;  // none: the document hangs below the manager itself
  std::int64_t time = 0;
  std::vector<NumberRecord> numbers;
};

struct HistoryValue {
  std::int64_t id = 0;  // grows with the arrival
  std::int64_t time = 0;
  std::string value;
};

// A part of a member's history.
struct HistoryFilter {
  std::string manager;
  std::string path;
  std::string member;
  std::int64_t since = 0;  // not older than this
  std::int64_t after = 0;  // the value after which it begins
  std::int64_t limit = 0;
};

struct EventRecord {
  std::int64_t id = 0;  // given by the store
  std::string manager;
  std::string chassis;  // empty: of no chassis
  std::string messageId;
  std::string severity;
  std::string document;
  std::int64_t received = 0;
  EventKind kind = EventKind::kMessage;  // given by the store
};

// Which of the documents that an appliance keeps at the service.
struct DocumentName {
  enum class Kind { kManager, kChassis, kResource };
  Kind kind = Kind::kResource;
  std::string name;  // the manager's UUID, the chassis' identifier, the resource's path
};

struct DocumentRecord {
  DocumentName name;
  std::string document;
  std::int64_t changed = 0;
};

// A number's history.
struct MemberRecord {
  std::int64_t id = 0;
  std::string path;
  std::string name;
};

// An event as the log shows it.
struct LoggedEvent {
  EventRecord event;
  bool cleared = false;  // of an alarm event: its alarm is no longer open
};

// Newest first: by arrival, with `since` or `until` by the time of it. Both are one order unless
// the clock was set back.
struct LogFilter {
  std::string manager;
  std::optional<EventKind> kind;
  std::optional<std::string> severity;  // in any case of letters
  std::optional<std::int64_t> since;    // received then or later
  std::optional<std::int64_t> until;    // received earlier
  std::optional<std::int64_t> before;   // those that follow the one of this identifier
  std::int64_t limit = 0;
};

// What an operation has changed.
struct Change {
  enum class What { kAppliance, kEvent, kDocument, kGone };
  What what = What::kAppliance;
  std::string manager;
  std::int64_t event = 0;  // kEvent: its identifier
  DocumentName document;   // kDocument: which
};

// How much there is of what, of all appliances.
struct Totals {
  std::int64_t managers = 0;
  std::int64_t chassis = 0;
  AlarmCounts alarms = {};   // open ones
  AlarmCounts alarmed = {};  // managers that have some
};

// What became of the alarm.
enum class AlarmOutcome { kNone, kOpened, kChanged, kRepeated, kClosed, kNotOpen };

struct StoredEvent {
  std::int64_t id = 0;
  AlarmOutcome outcome = AlarmOutcome::kNone;
};

struct EventFilter {
  std::string manager;
  std::optional<std::string> chassis;
  std::optional<bool> cleared;  // false: what stands for an open alarm, true: for a closed one
  std::optional<std::string> severity;
};

// A part of all events of a manager.
struct EventPage {
  std::string manager;
  std::int64_t after = 0;  // the identifier after which it begins
  std::int64_t skip = 0;   // how many it leaves out there
  std::int64_t limit = 0;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_RECORDS_H_
