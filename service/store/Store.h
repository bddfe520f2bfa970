// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_STORE_H_
#define SERVICE_STORE_STORE_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "service/json/Numbers.h"
#include "service/store/Database.h"
#include "service/store/Rules.h"
#include "service/store/Shown.h"

namespace cloudservice {

// Times are seconds since 1970, UTC. Documents are JSON texts, as they were sent until a PATCH
// changes them.

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

State StateOf(const ApplianceRecord& appliance, std::int64_t now);

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
};

// A document that an appliance keeps at the service: its own, a chassis', or a resource's.
struct DocumentRecord {
  std::string path;
  std::string document;
  std::int64_t changed = 0;
};

// A number's history.
struct MemberRecord {
  std::int64_t id = 0;
  std::string path;
  std::string name;
};

enum class EventKind { kAlarm, kClear, kMessage, kPoint };

// An event as the log shows it.
struct LoggedEvent {
  EventRecord event;
  EventKind kind = EventKind::kMessage;
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
  std::string path;        // kDocument: the document's
};

// How much there is of what, of all appliances.
struct Totals {
  std::int64_t managers = 0;
  std::int64_t chassis = 0;
  AlarmCounts alarms = {};   // open ones
  AlarmCounts alarmed = {};  // managers that have some
};

struct Holdings {
  Totals totals;
  std::int64_t silent = 0;   // managers that never sent a heartbeat
  std::int64_t offline = 0;  // of the others: overdue by twice their interval
  std::int64_t bytes = 0;    // of the database
};

// What an event does to the alarms of its chassis.
enum class AlarmEffect { kNone, kRaise, kClear };

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

// Everything that the service keeps. What an operation has changed is on the disk when it returns,
// or nothing of it is. One thread. Every operation throws DatabaseError.
class Store {
 public:
  // Opens the file, or creates it where it is missing, and brings its schema up to date.
  explicit Store(const std::string& file, Database::Missing missing = Database::Missing::kCreate);
  // The copy of the file that was kept when its schema was brought up to date; empty: it was.
  const std::string& KeptCopy() const { return m_keptCopy; }

  // Called with each change of what appliances keep once it is on the disk, on the thread and
  // before the end of the operation. Must not throw, and must not change anything.
  using Listener = std::function<void(const Change& change)>;
  void Listen(Listener listener) { m_listener = std::move(listener); }
  // A number that is another one when another process has changed the database.
  std::int64_t ForeignChanges();

  // Throws when the database cannot be read, and when it could not take the last change.
  void Check();
  // Counted anew only when something has changed them; good until the next operation.
  const Totals& CountTotals();
  Holdings CountHoldings(std::int64_t now);

  // Takes the place of the manager with the same UUID, with all that it holds; true when there was
  // one.
  bool AddManager(const ManagerRecord& manager, const std::string& tokenHash);
  std::optional<ManagerRecord> FindManager(const std::string& uuid);
  std::optional<ManagerRecord> FindManagerByToken(const std::string& tokenHash);
  void SetManagerDocument(const std::string& uuid, const std::string& document,
                          const Readings& readings);
  void DeleteManager(const std::string& uuid);
  // Returns the count, this one included. An empty address leaves the one that is known.
  std::int64_t AddHeartbeat(const std::string& uuid, std::int64_t when, std::int64_t interval,
                            const std::string& address = "");

  void AddChassis(const ChassisRecord& chassis);
  bool HasChassis(const std::string& manager, const std::string& id);
  std::optional<ChassisRecord> FindChassis(const std::string& manager, const std::string& id);
  // The identifiers in order of creation.
  std::vector<std::string> ListChassis(const std::string& manager);
  void SetChassisDocument(const std::string& id, const std::string& document,
                          const Readings& readings);
  // With its resources and alarms; its events stay.
  void DeleteChassis(const std::string& id);

  bool HasResource(const std::string& manager, const std::string& path);
  std::optional<ResourceRecord> FindResource(const std::string& manager, const std::string& path);
  // The paths of those below the chassis, or below the manager itself, in their order.
  std::vector<std::string> ListResources(const std::string& manager,
                                         const std::optional<std::string>& chassis);
  // The paths one segment below this one, in their order.
  std::vector<std::string> ListChildren(const std::string& manager, const std::string& path);
  bool HasChildren(const std::string& manager, const std::string& path);
  void PutResource(const ResourceRecord& resource, const Readings& readings);

  // What has a value not older than `since`, in order of names.
  std::vector<std::string> ListHistoryMembers(const std::string& manager, const std::string& path,
                                              std::int64_t since);
  // In order of arrival; empty also for a member that is not known.
  std::vector<HistoryValue> ListHistory(const HistoryFilter& filter);
  // Takes the last heartbeats of appliances that lie behind `now` for ones of now: a clock that was
  // set back would keep them alive for as long as it was set. Returns how many there were.
  std::int64_t TakeBackHeartbeats(std::int64_t now);
  // Drops readings older than `readings`, and events older than `events` except those that stand
  // for an open alarm, up to `most` of each; true: there may be more.
  bool RemoveOld(std::int64_t readings, std::int64_t events, std::int64_t most);

  // Stores the event (its `id` is not looked at) and does to the alarm `alarm` of its chassis what
  // `effect` says.
  StoredEvent AddEvent(const EventRecord& event, AlarmEffect effect, const std::string& alarm);
  std::optional<EventRecord> FindEvent(const std::string& manager, std::int64_t id);
  // The identifiers, oldest first.
  std::vector<std::int64_t> ListEvents(const EventFilter& filter);
  std::vector<std::int64_t> ListEventPage(const EventPage& page);
  // All that the manager has.
  std::int64_t CountEvents(const std::string& manager);

  std::optional<AccountRecord> FindAccount(const std::string& email);
  // In order of their addresses, up to `limit` of those behind `after`.
  std::vector<AccountRecord> ListAccounts(const std::string& after, std::int64_t limit);
  // Whether there is one with a key.
  bool HasAccounts();
  // Gives the account a key, beside those that it has or in their place; makes the account when
  // there is none.
  void AddRegistrationKey(const std::string& email, const std::string& hash, bool replace,
                          std::int64_t now);
  // The hashes, oldest first.
  std::vector<std::string> ListRegistrationKeys(std::int64_t account);
  // With its keys. Its managers go too, or stay with what they sent: their tokens end, and whoever
  // registers one of them next owns it.
  void DeleteAccount(std::int64_t account, bool withManagers);

  // False when there is one of this name.
  bool AddOperator(const OperatorRecord& person);
  std::optional<OperatorRecord> FindOperator(const std::string& name);
  std::optional<OperatorRecord> FindOperator(std::int64_t id);
  std::optional<OperatorRecord> FindOperatorByToken(const std::string& tokenHash);
  // In order of their names.
  std::vector<OperatorRecord> ListOperators();
  // False when there is none of this name.
  bool DeleteOperator(const std::string& name);

  // By places: an appliance that keeps its own is in exactly one of the pages that follow each
  // other's ends, whatever comes, goes and moves meanwhile.
  std::vector<ApplianceRecord> ListAppliances(const FleetFilter& filter);
  // How many pass the filter, whatever part of them it wants.
  std::int64_t CountAppliances(const FleetFilter& filter);
  StateCounts CountStates(std::int64_t now);
  std::optional<ApplianceRecord> FindAppliance(const std::string& uuid);
  // Those that have become late or offline after `from` and not after `to`.
  std::vector<std::string> ListDue(std::int64_t from, std::int64_t to);
  // Newest first.
  std::vector<AlarmRecord> ListOpenAlarms(const std::string& manager);
  std::vector<LoggedEvent> ListLog(const LogFilter& filter);
  std::vector<ChassisRecord> ListChassisRecords(const std::string& manager);
  // In the order of their paths.
  std::vector<DocumentRecord> ListDocuments(const std::string& manager);
  std::optional<DocumentRecord> FindDocument(const std::string& manager, const std::string& path);
  // What has a history, of all documents or of one, in the order of paths and names.
  std::vector<MemberRecord> ListMembers(const std::string& manager,
                                        const std::optional<std::string>& path);
  // Gives each value of the half-open stretch of time to `take`, in order of time.
  void ReadHistory(std::int64_t member, std::int64_t since, std::int64_t until,
                   const std::function<void(std::int64_t time, const std::string& value)>& take);

 private:
  std::vector<std::string> ListUuids(const FleetFilter& filter);
  std::vector<std::string> ListByState(const FleetFilter& filter);
  // Those of the filter's state, by name.
  std::vector<std::string> ListOfState(const FleetFilter& filter);
  // Of those with an open alarm of the severity, if one is given.
  StateCounts CountStates(std::int64_t now, std::optional<Severity> severity);
  void Tell(const Change& change) const {
    if (m_listener) m_listener(change);
  }
  struct OpenAlarm {
    std::int64_t id = 0;
    std::string severity;
  };
  std::optional<OpenAlarm> FindOpenAlarm(const std::string& chassis, const std::string& alarm);
  // One alarm less of a severity, and one more of another; either may be null.
  void CountAlarms(const std::string& manager, const std::string* gone, const std::string* come);
  AlarmOutcome RaiseAlarm(const EventRecord& event, std::int64_t id, const std::string& alarm);
  AlarmOutcome ClearAlarm(const EventRecord& event, const std::string& alarm);
  // Inside a transaction.
  void AddReadings(const Readings& readings);
  std::optional<std::int64_t> MemberId(const Readings& readings, const std::string& name);

  Database m_database;
  const std::string m_keptCopy;
  Listener m_listener;
  // None when something has changed since it was counted, or `m_totalsForeign` has.
  std::optional<Totals> m_totals;
  std::int64_t m_totalsForeign = 0;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_STORE_H_
