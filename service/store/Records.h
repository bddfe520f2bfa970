// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_RECORDS_H_
#define SERVICE_STORE_RECORDS_H_

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "service/json/Numbers.h"
#include "service/store/Rules.h"
#include "service/store/Shown.h"
#include "service/util/Words.h"

namespace cloudservice {

// Times are seconds since 1970, UTC. Documents are JSON texts: as they were sent, until a PATCH
// changes them.

// A page of a list: up to `limit` entries that follow the one with the key `after` in the list's
// order. KeyOf() tells an entry's key. An entry that keeps its key is on exactly one of the pages
// that follow each other, even if others come and go meanwhile, and the entry `after` as well.
template <typename Key>
struct ListPage {
  std::optional<Key> after = std::nullopt;  // none: the page begins with the first entry
  std::int64_t limit = 0;
};

// Entries that are keys themselves.
inline const std::string& KeyOf(const std::string& text) { return text; }
inline std::int64_t KeyOf(std::int64_t id) { return id; }

// How long readings and events are kept, in seconds.
struct Retention {
  std::int64_t history = 7 * 24 * 3600;
  std::int64_t events = 365 * 24 * 3600;
};

// The heartbeats of a manager.
struct Heartbeat {
  std::int64_t count = 0;
  std::optional<std::int64_t> last;      // when the last one came; none: none has come
  std::optional<std::int64_t> interval;  // seconds, as the last one announced; none: none has come
};

struct ManagerRecord {
  std::string uuid;
  std::string name;
  std::string document;
  std::int64_t registered = 0;
  Heartbeat heartbeat;
  std::optional<std::int64_t> account = std::nullopt;  // that registered it; none: it was removed
  std::string address = {};  // the sender of its last registration or heartbeat; empty: not known
};

// The manager that a token belongs to, without its document.
struct SenderRecord {
  std::string uuid;
  std::string name;
  std::optional<std::int64_t> account;  // as in ManagerRecord
};

struct AccountRecord {
  std::int64_t id = 0;
  std::string email;
  std::int64_t created = 0;
  std::int64_t keys = 0;      // number of its registration keys
  std::int64_t managers = 0;  // number of the managers that it has registered
};
inline const std::string& KeyOf(const AccountRecord& account) { return account.email; }

struct OperatorRecord {
  std::int64_t id = 0;  // chosen by the store, never used twice
  std::string name;
  std::optional<std::string> passwordHash;
  std::optional<std::string> tokenHash;
  std::int64_t created = 0;
};
inline const std::string& KeyOf(const OperatorRecord& person) { return person.name; }

// A manager as operators see it in a list.
struct ApplianceRecord {
  std::string uuid;
  Shown shown;  // its name is the manager's own where the document has none
  std::int64_t registered = 0;
  Heartbeat heartbeat;
  std::string address;                 // as in ManagerRecord
  std::int64_t changed = 0;            // when its document was changed last
  AlarmCounts alarms = {};             // its open alarms
  std::optional<std::string> email;    // its account's address; none: the account was removed
  std::optional<std::string> chassis;  // the identifier of its first chassis; none: it has none
};

// The state of an appliance, or of a manager, at the time `now`.
State StateOf(const ApplianceRecord& appliance, std::int64_t now);
State StateOf(const ManagerRecord& manager, std::int64_t now);

// The place of an appliance in a list: the values that the list is ordered by.
struct FleetPlace {
  std::vector<std::int64_t> ranks;  // compared first; empty in a list ordered by name
  std::string label;                // the appliance's name, compared next
  std::string uuid;                 // compared last
};

// An appliance that becomes late or offline.
struct DueAppliance {
  std::int64_t time = 0;  // when
  std::string uuid;
};
inline const DueAppliance& KeyOf(const DueAppliance& due) { return due; }

// A part of the list of all appliances.
struct FleetFilter {
  enum class Sort { kName, kState, kAlarms, kHeartbeat, kRegistered };
  Sort sort = Sort::kName;  // equal appliances stand by name, those of one name by UUID
  bool descending = false;
  std::int64_t now = 0;              // the time at which states are looked at
  std::optional<State> state;        // only appliances in this state
  std::optional<Severity> severity;  // only appliances with an open alarm of this severity
  Words words;                       // only those that have them in what a list shows
  std::optional<FleetPlace> after;   // only appliances behind this place
  std::int64_t offset = 0;           // without `after`: how many to skip
  std::int64_t limit = 0;            // how many to return at most
};

// The place of the appliance in the order that the filter asks for.
FleetPlace PlaceOf(const ApplianceRecord& appliance, const FleetFilter& filter);

struct AlarmRecord {
  std::int64_t id = 0;
  std::int64_t event = 0;  // the event that opened the alarm or changed it last
  std::string chassis;
  std::string messageId;
  std::string severity;
  std::string document;  // the document of that event
  std::int64_t opened = 0;
};
inline std::int64_t KeyOf(const AlarmRecord& alarm) { return alarm.id; }

struct ChassisRecord {
  std::string id;       // of all chassis there are and were no other has it
  std::string manager;  // the UUID of its manager
  std::string document;
  std::int64_t created = 0;
  std::int64_t number = 0;  // chosen by the store: greater than those of chassis created before
};
inline std::int64_t KeyOf(const ChassisRecord& chassis) { return chassis.number; }

// A chassis without its document.
struct ChassisName {
  std::string id;
  std::int64_t number = 0;  // as in ChassisRecord
};
inline std::int64_t KeyOf(const ChassisName& chassis) { return chassis.number; }

struct ResourceRecord {
  std::string path;
  std::string manager;
  std::optional<std::string> chassis;  // none: the resource is below the manager itself
  std::string document;
  std::int64_t changed = 0;
};

// The readings of a document that one PATCH brought.
struct Readings {
  std::string path;
  std::string manager;
  std::optional<std::string> chassis;  // none: the document is below the manager itself
  std::int64_t time = 0;
  std::vector<NumberRecord> numbers;
};

// A reading in a history.
struct HistoryValue {
  std::int64_t id = 0;  // greater than those of the readings that came before
  std::int64_t time = 0;
  std::string value;
};

// A part of a number's history.
struct HistoryFilter {
  std::string manager;
  std::string path;
  std::string member;
  std::int64_t since = 0;  // the time of the oldest reading
  std::int64_t after = 0;  // the identifier of the reading before the first one; 0: from the start
  std::int64_t limit = 0;
};

struct EventRecord {
  std::int64_t id = 0;  // chosen by the store
  std::string manager;
  std::string chassis;  // empty: the event is about no chassis
  std::string messageId;
  std::string severity;
  std::string document;
  std::int64_t received = 0;
  EventKind kind = EventKind::kMessage;  // set by the store
};

// Names one of the documents that an appliance keeps at the service.
struct DocumentName {
  enum class Kind { kManager, kChassis, kResource };
  Kind kind = Kind::kResource;
  std::string name;  // the manager's UUID, the chassis' identifier, the resource's path
};

struct DocumentRecord {
  DocumentName name;
  std::string document;
  std::int64_t changed = 0;
  std::int64_t number = 0;  // as in ChassisRecord; 0: the document is not a chassis' own
};

// The place of a document in the list of a manager's documents.
struct DocumentPlace {
  DocumentName::Kind kind = DocumentName::Kind::kManager;
  std::int64_t number = 0;  // kChassis: as in ChassisRecord
  std::string path;         // kResource
};
inline DocumentPlace KeyOf(const DocumentRecord& document) {
  return {document.name.kind, document.number, document.name.name};
}

// A number that has a history.
struct MemberRecord {
  std::int64_t id = 0;
  std::string path;
  std::string name;
};

// The place of a number in the list of a manager's numbers.
struct MemberPlace {
  std::string path;
  std::string name;
};
inline MemberPlace KeyOf(const MemberRecord& member) { return {member.path, member.name}; }

// An event as the log shows it.
struct LoggedEvent {
  EventRecord event;
  bool cleared = false;  // for an event of an alarm: the alarm is no longer open
};

// A part of a manager's log, newest first: in the order of arrival, or, with `since` or `until`, in
// the order of the times of arrival. The two orders differ only where the clock was set back.
struct LogFilter {
  std::string manager;
  std::optional<EventKind> kind;
  std::optional<std::string> severity;  // in any case of letters
  std::optional<std::int64_t> since;    // only events received then or later
  std::optional<std::int64_t> until;    // only events received earlier
  std::optional<std::int64_t> before;   // only events that follow this identifier in the log
  std::int64_t limit = 0;
};

// The place of an event in the order of the times of arrival.
struct EventPlace {
  std::int64_t received = std::numeric_limits<std::int64_t>::min();
  std::int64_t id = 0;
};
inline bool operator<(const EventPlace& one, const EventPlace& other) {
  return std::tie(one.received, one.id) < std::tie(other.received, other.id);
}

// An event in the log of all appliances.
struct FleetEvent {
  LoggedEvent entry;
  std::string label;  // the appliance's name
};

// A part of the log of all appliances, newest first by the times of arrival, and of the same time
// the greater identifier first.
struct FleetLogFilter {
  std::optional<EventKind> kind;
  std::optional<std::string> severity;  // in any case of letters
  std::optional<std::int64_t> since;    // only events received then or later
  std::optional<std::int64_t> until;    // only events received earlier
  std::optional<EventPlace> before;     // only events that follow this one in the log
  std::int64_t limit = 0;
};

// A change that a unit of work has made to what appliances keep.
struct Change {
  // kAny: of many appliances, or of parts of them that have no kind of their own. kHeartbeat: of an
  // appliance that was alive and that nothing else has changed of.
  enum class What { kAppliance, kEvent, kDocument, kGone, kAny, kHeartbeat };
  What what = What::kAppliance;
  std::string manager;
  std::int64_t number = 0;  // kEvent: the new event's identifier; kHeartbeat: when it came
  DocumentName document;    // kDocument: the changed document
};

// A change as it is kept for all processes.
struct ChangeRecord {
  std::int64_t id = 0;  // greater than those of the changes that were committed before
  Change change;
  std::int64_t time = 0;  // when it was made, by the clock of the back end
};
inline std::int64_t KeyOf(const ChangeRecord& change) { return change.id; }

// An operator who is signed in.
struct SessionRecord {
  std::int64_t person = 0;  // the operator's identifier
  std::int64_t used = 0;    // when the session was begun or used last
};

// Counts over all appliances.
struct Totals {
  std::int64_t managers = 0;
  std::int64_t chassis = 0;
  AlarmCounts alarms = {};   // open alarms by severity
  AlarmCounts alarmed = {};  // managers with an open alarm, by its severity
  // Managers by the state that was found last; CountStates() tells the present ones.
  std::int64_t foundLate = 0;
  std::int64_t foundOffline = 0;
};

// Appliances whose state may be another by now than the one that was found last.
struct DueCounts {
  std::int64_t foundLate = 0;  // so many of them were found late, the others alive
  std::int64_t overdue = 0;    // so many are late or offline
  std::int64_t offline = 0;    // so many are offline
};

// The states of all appliances, of those that were found last and of those that are due.
StateCounts StatesOf(const Totals& found, const DueCounts& due);

// What a step of RemoveOld() is to remove.
struct OldRows {
  std::int64_t readings = 0;  // readings and events from before these times
  std::int64_t events = 0;
  std::int64_t most = 0;  // the rows of each that the step looks at
  EventPlace after = {};  // an earlier step has looked at the events up to this one
};

// What a step has left: whether there may be more, and `after` of the next one.
struct OldLeft {
  bool more = false;
  EventPlace after = {};
};

// What RemoveNext() has left to do: nothing; to remove rows that no other operation sees; to remove
// managers, which can still be seen, of accounts that were deleted with them.
enum class Left { kNothing, kRows, kManagers };

// What an event did to its alarm; kNone: the event has no alarm.
enum class AlarmOutcome { kNone, kOpened, kChanged, kRepeated, kClosed, kNotOpen };

struct StoredEvent {
  std::int64_t id = 0;
  AlarmOutcome outcome = AlarmOutcome::kNone;
  // How many events of the manager have come on the day of this one (UTC), this one included; 0
  // where the clock has been set back to this day and the back end does not know.
  std::int64_t today = 0;
  // At least as many as are kept of the manager, this one included; CountEvents() says how many.
  std::int64_t kept = 0;
};

// What a manager has posted under a key of its choice.
struct MessageRecord {
  std::string key;
  std::string digest;  // of what was posted
  std::int64_t event = 0;
  std::int64_t received = 0;
};

// What a manager keeps in documents: its own, those of its chassis, and those below them.
struct Usage {
  std::int64_t documents = 0;
  std::int64_t bytes = 0;  // of all of them
};

struct EventFilter {
  std::string manager;
  std::optional<std::string> chassis;
  std::optional<bool> cleared;  // false: only events of open alarms, true: only of closed ones
  std::optional<std::string> severity;
};

// A part of all events of a manager, oldest first.
struct EventPage {
  std::string manager;
  std::int64_t after = 0;  // the identifier of the event before the part
  std::int64_t skip = 0;   // how many events after that one are left out
  std::int64_t limit = 0;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_RECORDS_H_
