// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_TRANSACTION_H_
#define SERVICE_STORE_TRANSACTION_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "service/store/FleetAlarms.h"
#include "service/store/Records.h"

namespace cloudservice {

// The operations of one unit of work on the store. A unit of work sees one state of the store, and
// its changes are kept as a whole or not at all. A back end implements these operations and hides
// how data are kept. A transaction lives during Store::Read or Store::Write, on their thread. Every
// operation throws DatabaseError.
//
// Lists come in pages; what needs a whole list inside one transaction reads it by AllOf() or
// ForEach() of Lists.h.
class Transaction {
 public:
  virtual ~Transaction() = default;

  // Costs the same however much is counted.
  virtual Totals CountTotals() = 0;
  // The number of managers that have not sent a heartbeat yet.
  virtual std::int64_t CountSilent() = 0;
  // The size of the database in bytes, which may take long to find out; and, where it has one
  // beside it, that of its write-ahead log, else 0.
  virtual std::int64_t CountBytes() = 0;
  virtual std::int64_t CountLogBytes() = 0;

  // What is removed is gone at once for all other operations. Its rows may be many: they stay until
  // RemoveNext() has removed them.

  // Adds a manager. A manager with the same UUID is removed before that, with all that it has here;
  // true when there was one.
  virtual bool AddManager(const ManagerRecord& manager, const std::string& tokenHash) = 0;
  virtual std::optional<ManagerRecord> FindManager(const std::string& uuid) = 0;
  // The manager whose token has the hash; none when its account was removed, since the token ended
  // with it. Every request of an appliance asks this: it costs the
  // same however large the manager's document is.
  virtual std::optional<SenderRecord> FindSender(const std::string& tokenHash) = 0;
  virtual void SetManagerDocument(const std::string& uuid, const std::string& document,
                                  const Readings& readings) = 0;
  virtual void DeleteManager(const std::string& uuid) = 0;
  // Returns the number of the manager's heartbeats, this one included. An empty `address` keeps the
  // known one.
  virtual std::int64_t AddHeartbeat(const std::string& uuid, std::int64_t when,
                                    std::int64_t interval, const std::string& address) = 0;

  virtual void AddChassis(const ChassisRecord& chassis) = 0;
  virtual bool HasChassis(const std::string& manager, const std::string& id) = 0;
  virtual std::optional<ChassisRecord> FindChassis(const std::string& manager,
                                                   const std::string& id) = 0;
  // The manager's chassis in the order of creation, with their documents and without.
  virtual std::vector<ChassisRecord> ListChassisRecords(const std::string& manager,
                                                        const ListPage<std::int64_t>& page) = 0;
  virtual std::vector<ChassisName> ListChassis(const std::string& manager,
                                               const ListPage<std::int64_t>& page) = 0;
  virtual void SetChassisDocument(const std::string& id, const std::string& document,
                                  const Readings& readings) = 0;
  // Deletes the chassis with its resources and alarms; its events stay.
  virtual void DeleteChassis(const std::string& id) = 0;

  virtual bool HasResource(const std::string& manager, const std::string& path) = 0;
  virtual std::optional<ResourceRecord> FindResource(const std::string& manager,
                                                     const std::string& path) = 0;
  // The paths of the resources below the chassis, or, without one, below the manager itself, in
  // ascending order.
  virtual std::vector<std::string> ListResources(const std::string& manager,
                                                 const std::optional<std::string>& chassis,
                                                 const ListPage<std::string>& page) = 0;
  // The paths of the resources one segment below `path`, in ascending order.
  virtual std::vector<std::string> ListChildren(const std::string& manager, const std::string& path,
                                                const ListPage<std::string>& page) = 0;
  virtual bool HasChildren(const std::string& manager, const std::string& path) = 0;
  virtual void PutResource(const ResourceRecord& resource, const Readings& readings) = 0;
  // What the manager keeps. What a removed chassis held may count until RemoveNext() has removed
  // it. Costs the same however much that is, but for the first time after the database was brought
  // up to date, when it is counted: within Write() only. Throws DatabaseError where there is no
  // such manager.
  virtual Usage FindUsage(const std::string& manager) = 0;

  // The names of the document's numbers that have a reading not older than `since`, in ascending
  // order.
  virtual std::vector<std::string> ListHistoryMembers(const std::string& manager,
                                                      const std::string& path, std::int64_t since,
                                                      const ListPage<std::string>& page) = 0;
  // The readings in the order of arrival; empty also for an unknown number.
  virtual std::vector<HistoryValue> ListHistory(const HistoryFilter& filter) = 0;
  // Sets the time of last heartbeats that is later than `now` to `now`, up to `most` of them. Such
  // times remain when the clock is set back, and would keep the appliances alive for that long.
  // Returns how many it set.
  virtual std::int64_t ClampHeartbeats(std::int64_t now, std::int64_t most) = 0;
  // Finds anew the states of up to `most` appliances for which the time has come. All that tells of
  // states is right without it too, but has to look at each of those: to be called every few
  // seconds. A state found by a clock that was set back since is found anew as well, and is wrong
  // until then. Returns how many it found.
  virtual std::int64_t Settle(std::int64_t now, std::int64_t most) = 0;
  // Removes rows that removed managers, chassis and accounts have left, up to `most` (a row with a
  // large document counts as several; the last one may exceed the number), and tells what is left.
  // It is told also by what other processes have removed, and before a restart.
  virtual Left RemoveNext(std::int64_t most) = 0;
  // Removes readings and events that are old, except the events of open alarms. What it returns
  // belongs into the next step: a step that began anew would look at those events again.
  virtual OldLeft RemoveOld(const OldRows& old) = 0;

  // Stores the event, whose `id` and `kind` are ignored, and opens, changes or closes the alarm
  // `alarm` of its chassis, as KindOf() says for its message identifier and severity.
  virtual StoredEvent AddEvent(const EventRecord& event, const std::string& alarm) = 0;
  virtual std::optional<EventRecord> FindEvent(const std::string& manager, std::int64_t id) = 0;
  // What the manager has posted under the key; its event may be gone. Of two units of work that
  // find nothing and add the same key, one counts.
  virtual std::optional<MessageRecord> FindMessage(const std::string& manager,
                                                   const std::string& key) = 0;
  virtual void AddMessage(const std::string& manager, const MessageRecord& message) = 0;
  // Removes messages from before the time `before`, up to `most`, but not their events. True when
  // there may be more.
  virtual bool RemoveMessages(std::int64_t before, std::int64_t most) = 0;
  // The identifiers of the events that pass the filter, or stand on the page, oldest first.
  virtual std::vector<std::int64_t> ListEvents(const EventFilter& filter,
                                               const ListPage<std::int64_t>& page) = 0;
  virtual std::vector<std::int64_t> ListEventPage(const EventPage& page) = 0;
  // The number of all events of the manager.
  virtual std::int64_t CountEvents(const std::string& manager) = 0;

  virtual std::optional<AccountRecord> FindAccount(const std::string& email) = 0;
  // All accounts, in ascending order of their e-mail addresses.
  virtual std::vector<AccountRecord> ListAccounts(const ListPage<std::string>& page) = 0;
  // Whether any account has a key.
  virtual bool HasAccounts() = 0;
  // Adds a key to the account, and makes the account when there is none. With `replace` the key
  // replaces the account's other keys.
  virtual void AddRegistrationKey(const std::string& email, const std::string& hash, bool replace,
                                  std::int64_t now) = 0;
  // The hashes of the account's keys, oldest first.
  virtual std::vector<std::string> ListRegistrationKeys(std::int64_t account) = 0;
  // Deletes the account and its keys; the tokens of its managers end. With `withManagers` its
  // managers are removed by RemoveNext(), before everything else that waits there. Without, they
  // stay with what they have sent; the next account that registers such a manager owns it.
  virtual void DeleteAccount(std::int64_t account, bool withManagers) = 0;

  // False when there is an operator of this name already.
  virtual bool AddOperator(const OperatorRecord& person) = 0;
  virtual std::optional<OperatorRecord> FindOperator(const std::string& name) = 0;
  virtual std::optional<OperatorRecord> FindOperator(std::int64_t id) = 0;
  virtual std::optional<OperatorRecord> FindOperatorByToken(const std::string& tokenHash) = 0;
  // All operators, in ascending order of their names.
  virtual std::vector<OperatorRecord> ListOperators(const ListPage<std::string>& page) = 0;
  // False when there is no operator of this name.
  virtual bool DeleteOperator(const std::string& name) = 0;

  // A page of the list of appliances. When each page begins after the place at which the last one
  // ended, an appliance that keeps its place is on exactly one of them, even if others are added,
  // removed or moved meanwhile.
  virtual std::vector<ApplianceRecord> ListAppliances(const FleetFilter& filter) = 0;
  // How many appliances pass the filter; its `after`, `offset` and `limit` are ignored.
  virtual std::int64_t CountAppliances(const FleetFilter& filter) = 0;
  virtual StateCounts CountStates(std::int64_t now) = 0;
  virtual std::optional<ApplianceRecord> FindAppliance(const std::string& uuid) = 0;
  // The appliances that become late or offline after the time `from` and not after `to`, in the
  // order of these times and of UUIDs. One that becomes both is there once, when it becomes
  // offline.
  virtual std::vector<DueAppliance> ListDue(std::int64_t from, std::int64_t to,
                                            const ListPage<DueAppliance>& page) = 0;
  // The manager's open alarms, newest first.
  virtual std::vector<AlarmRecord> ListOpenAlarms(const std::string& manager,
                                                  const ListPage<std::int64_t>& page) = 0;
  // A page of the fleet's list of alarms. Silences stand in it alone: an appliance that could read
  // one back would clear it.
  virtual std::vector<FleetAlarm> ListAlarms(const AlarmFilter& filter) = 0;
  // Keeps what an operator says of an open alarm, in the place of what was said before; none:
  // nobody looks after it. False when there is no such alarm, or it is not open.
  virtual bool Acknowledge(const AlarmName& alarm, const std::optional<Acknowledgement>& word) = 0;
  virtual std::vector<LoggedEvent> ListLog(const LogFilter& filter) = 0;
  virtual std::vector<FleetEvent> ListFleetLog(const FleetLogFilter& filter) = 0;
  // The documents of the manager itself, then of its chassis in the order of creation, then of its
  // resources in the order of paths.
  virtual std::vector<DocumentRecord> ListDocuments(const std::string& manager,
                                                    const ListPage<DocumentPlace>& page) = 0;
  virtual std::optional<DocumentRecord> FindDocument(const std::string& manager,
                                                     const DocumentName& name) = 0;
  // The numbers that have a history, in all documents of the manager or in that at `path`, in the
  // order of paths and names.
  virtual std::vector<MemberRecord> ListMembers(const std::string& manager,
                                                const std::optional<std::string>& path,
                                                const ListPage<MemberPlace>& page) = 0;
  // Calls `take` with each reading from the time `since` on and before `until`, in the order of
  // time.
  virtual void ReadHistory(
      std::int64_t member, std::int64_t since, std::int64_t until,
      const std::function<void(std::int64_t time, const std::string& value)>& take) = 0;

  // What follows lets several processes on one store be one service.

  // The changes of all processes, in the order of their commits, each written with what it tells
  // of.
  virtual std::vector<ChangeRecord> ListChanges(const ListPage<std::int64_t>& page) = 0;
  // The identifier of the last change; 0 when there was none.
  virtual std::int64_t LastChange() = 0;
  // Removes changes from before the time `before`, up to `most`, oldest first; never the last one.
  // True when there may be more.
  virtual bool RemoveChanges(std::int64_t before, std::int64_t most) = 0;

  // Sessions are known by the hash of their secret. A session ends with its operator. When there
  // are more than `most` sessions, the one that was used longest ago ends.
  virtual void AddSession(const std::string& hash, std::int64_t person, std::int64_t now,
                          std::int64_t most) = 0;
  virtual std::optional<SessionRecord> FindSession(const std::string& hash) = 0;
  // Sets when the session was used last.
  virtual void UseSession(const std::string& hash, std::int64_t now) = 0;
  virtual void EndSession(const std::string& hash) = 0;

  // A sender who failed has all its tries again at the returned time; 0: it has not failed.
  virtual std::int64_t FindFailures(const std::string& sender) = 0;
  // Counts a failed try: the time at which the sender has all its tries again becomes `seconds`
  // later; it is counted from `now` where it has passed, or is over a day ahead because the clock
  // has been set back. Returns it. When there are more than `most` senders, the one whose time
  // comes first is forgotten.
  virtual std::int64_t AddFailure(const std::string& sender, std::int64_t now, std::int64_t seconds,
                                  std::int64_t most) = 0;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_TRANSACTION_H_
