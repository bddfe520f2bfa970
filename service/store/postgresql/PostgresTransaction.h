// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_POSTGRESTRANSACTION_H_
#define SERVICE_STORE_POSTGRESQL_POSTGRESTRANSACTION_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "service/store/Transaction.h"
#include "service/store/postgresql/Asked.h"
#include "service/store/postgresql/Batch.h"
#include "service/store/postgresql/Connection.h"
#include "service/store/postgresql/Days.h"

namespace cloudservice::postgresql {

// Rows that are added to and taken from what CountTotals() counts.
struct TotalsChange {
  std::int64_t managers = 0;
  std::int64_t chassis = 0;
  AlarmCounts alarms = {};
  AlarmCounts alarmed = {};
  std::int64_t foundLate = 0;
  std::int64_t foundOffline = 0;
};

// A unit of work on a connection. It begins with its first operation. Without a Commit() the
// destructor undoes it.
class PostgresTransaction : public Transaction {
 public:
  enum class Mode { kRead, kWrite };

  // The connection and the days outlive the transaction.
  PostgresTransaction(Connection& connection, Days& days, Mode mode);
  ~PostgresTransaction() override;
  PostgresTransaction(const PostgresTransaction&) = delete;
  PostgresTransaction& operator=(const PostgresTransaction&) = delete;

  // Ends the unit of work; its changes are on the disk then. Throws DatabaseError.
  void Commit();
  // Whether it has changed what appliances keep.
  bool Changed() const { return !m_changes.empty(); }
  // Several units of work share the transaction, and the next one begins. Until it has changed
  // something it may end in AskedLater, and be run again after LookUpAsked().
  void BeginNext();
  // Whether the unit of work that began last has changed something.
  bool HasWritten() const { return m_writes != m_writesBefore; }
  // Looks up what units of work that ended in AskedLater ask for, all of a kind at once. Throws
  // DatabaseError.
  void LookUpAsked();
  // Whether it has added rows to the table of totals.
  bool TotalsChanged() const { return m_totalsChanged; }

  Totals CountTotals() override;
  std::int64_t CountSilent() override;
  std::int64_t CountBytes() override;
  std::int64_t CountLogBytes() override;
  bool AddManager(const ManagerRecord& manager, const std::string& tokenHash) override;
  std::optional<ManagerRecord> FindManager(const std::string& uuid) override;
  std::optional<SenderRecord> FindSender(const std::string& tokenHash) override;
  void SetManagerDocument(const std::string& uuid, const std::string& document,
                          const Readings& readings) override;
  void DeleteManager(const std::string& uuid) override;
  std::int64_t AddHeartbeat(const std::string& uuid, std::int64_t when, std::int64_t interval,
                            const std::string& address) override;
  void AddChassis(const ChassisRecord& chassis) override;
  bool HasChassis(const std::string& manager, const std::string& id) override;
  std::optional<ChassisRecord> FindChassis(const std::string& manager,
                                           const std::string& id) override;
  std::vector<ChassisRecord> ListChassisRecords(const std::string& manager,
                                                const ListPage<std::int64_t>& page) override;
  std::vector<ChassisName> ListChassis(const std::string& manager,
                                       const ListPage<std::int64_t>& page) override;
  void SetChassisDocument(const std::string& id, const std::string& document,
                          const Readings& readings) override;
  void DeleteChassis(const std::string& id) override;
  bool HasResource(const std::string& manager, const std::string& path) override;
  std::optional<ResourceRecord> FindResource(const std::string& manager,
                                             const std::string& path) override;
  std::vector<std::string> ListResources(const std::string& manager,
                                         const std::optional<std::string>& chassis,
                                         const ListPage<std::string>& page) override;
  std::vector<std::string> ListChildren(const std::string& manager, const std::string& path,
                                        const ListPage<std::string>& page) override;
  bool HasChildren(const std::string& manager, const std::string& path) override;
  void PutResource(const ResourceRecord& resource, const Readings& readings) override;
  Usage FindUsage(const std::string& manager) override;
  std::vector<std::string> ListHistoryMembers(const std::string& manager, const std::string& path,
                                              std::int64_t since,
                                              const ListPage<std::string>& page) override;
  std::vector<HistoryValue> ListHistory(const HistoryFilter& filter) override;
  std::int64_t ClampHeartbeats(std::int64_t now, std::int64_t most) override;
  std::int64_t Settle(std::int64_t now, std::int64_t most) override;
  Left RemoveNext(std::int64_t most) override;
  OldLeft RemoveOld(const OldRows& old) override;
  StoredEvent AddEvent(const EventRecord& event, const std::string& alarm) override;
  std::optional<EventRecord> FindEvent(const std::string& manager, std::int64_t id) override;
  std::vector<std::int64_t> ListEvents(const EventFilter& filter,
                                       const ListPage<std::int64_t>& page) override;
  std::vector<std::int64_t> ListEventPage(const EventPage& page) override;
  std::int64_t CountEvents(const std::string& manager) override;
  std::optional<AccountRecord> FindAccount(const std::string& email) override;
  std::vector<AccountRecord> ListAccounts(const ListPage<std::string>& page) override;
  bool HasAccounts() override;
  void AddRegistrationKey(const std::string& email, const std::string& hash, bool replace,
                          std::int64_t now) override;
  std::vector<std::string> ListRegistrationKeys(std::int64_t account) override;
  void DeleteAccount(std::int64_t account, bool withManagers) override;
  bool AddOperator(const OperatorRecord& person) override;
  std::optional<OperatorRecord> FindOperator(const std::string& name) override;
  std::optional<OperatorRecord> FindOperator(std::int64_t id) override;
  std::optional<OperatorRecord> FindOperatorByToken(const std::string& tokenHash) override;
  std::vector<OperatorRecord> ListOperators(const ListPage<std::string>& page) override;
  bool DeleteOperator(const std::string& name) override;
  std::vector<ApplianceRecord> ListAppliances(const FleetFilter& filter) override;
  std::int64_t CountAppliances(const FleetFilter& filter) override;
  StateCounts CountStates(std::int64_t now) override;
  std::optional<ApplianceRecord> FindAppliance(const std::string& uuid) override;
  std::vector<DueAppliance> ListDue(std::int64_t from, std::int64_t to,
                                    const ListPage<DueAppliance>& page) override;
  std::vector<AlarmRecord> ListOpenAlarms(const std::string& manager,
                                          const ListPage<std::int64_t>& page) override;
  std::vector<FleetAlarm> ListAlarms(const AlarmFilter& filter) override;
  bool Acknowledge(const AlarmName& alarm, const std::optional<Acknowledgement>& word) override;
  std::vector<LoggedEvent> ListLog(const LogFilter& filter) override;
  std::vector<FleetEvent> ListFleetLog(const FleetLogFilter& filter) override;
  std::vector<DocumentRecord> ListDocuments(const std::string& manager,
                                            const ListPage<DocumentPlace>& page) override;
  std::optional<DocumentRecord> FindDocument(const std::string& manager,
                                             const DocumentName& name) override;
  std::vector<MemberRecord> ListMembers(const std::string& manager,
                                        const std::optional<std::string>& path,
                                        const ListPage<MemberPlace>& page) override;
  void ReadHistory(
      std::int64_t member, std::int64_t since, std::int64_t until,
      const std::function<void(std::int64_t time, const std::string& value)>& take) override;
  std::vector<ChangeRecord> ListChanges(const ListPage<std::int64_t>& page) override;
  std::int64_t LastChange() override;
  bool RemoveChanges(std::int64_t before, std::int64_t most) override;
  void AddSession(const std::string& hash, std::int64_t person, std::int64_t now,
                  std::int64_t most) override;
  std::optional<SessionRecord> FindSession(const std::string& hash) override;
  void UseSession(const std::string& hash, std::int64_t now) override;
  void EndSession(const std::string& hash) override;
  std::optional<MessageRecord> FindMessage(const std::string& manager,
                                           const std::string& key) override;
  void AddMessage(const std::string& manager, const MessageRecord& message) override;
  bool RemoveMessages(std::int64_t before, std::int64_t most) override;
  std::int64_t FindFailures(const std::string& sender) override;
  std::int64_t AddFailure(const std::string& sender, std::int64_t now, std::int64_t seconds,
                          std::int64_t most) override;

 private:
  // What stands in the table of removals.
  enum class Rest { kManagersOfAccount, kManager, kMember };
  struct OpenAlarm {
    std::int64_t id = 0;
    std::string severity;
  };

  // A manager as it is now.
  struct Known {
    std::int64_t key = 0;
    SenderRecord sender;
    std::int64_t beats = 0;
    State found = State::kAlive;  // the state that was found last
    // Of its last heartbeat.
    std::optional<std::int64_t> interval;
    std::int64_t lateAt = 0;
    std::string address;
    std::optional<Usage> usage;  // none: not counted yet, or changed since
  };
  using InManager = std::pair<std::string, std::string>;  // its UUID, and what is below it

  // Runs a statement inside the transaction, as Connection does, behind the changes that wait. What
  // is known may be otherwise behind one that is no query.
  Result Run(const Sql& sql, const Values& values = {});
  void Defer(const Sql& sql, const Values& values = {});
  void Begin();
  void Prepare(const Sql& sql);
  // Writes the changes that wait.
  void WriteBatch();
  void Forget();

  // What was asked for. Where other units of work ask as well, throws AskedLater if it is not known
  // yet.
  template <typename Key, typename Found>
  std::optional<Found> Ask(Asked<Key, Found>& asked, const Key& key);
  Result LookUp(const Sql& sql, const Values& values);
  void LookUp(Asked<std::string, SenderRecord>& asked);
  void LookUp(Asked<InManager, bool>& asked);
  void LookUp(Asked<InManager, ResourceRecord>& asked);
  // Null when there is no such manager.
  Known* FindKnown(const std::string& uuid);
  Known* Keep(const Row& row);

  // The key of a manager whose rows the unit of work is about to change; none when there is no such
  // manager. Another unit of work that does so at the same time conflicts.
  std::optional<std::int64_t> Own(const std::string& uuid);
  // As Own(). Throws DatabaseError when there is no such manager.
  std::int64_t Owned(const std::string& uuid);

  void ChangeTotals(const TotalsChange& change);
  // Takes a row of how many states were found anew, and of how many more of them are late and
  // offline. Returns the first.
  std::int64_t CountFound(const Result& found);
  void PutDocument(std::int64_t key, const std::string& document, std::int64_t changed);
  // False when there is no such manager.
  bool RemoveManager(const std::string& uuid);

  std::vector<ApplianceRecord> ListInOrder(const FleetFilter& filter);
  std::vector<ApplianceRecord> ListByState(const FleetFilter& filter);
  // Counts only appliances with an open alarm of the severity.
  StateCounts CountStates(std::int64_t now, Severity severity);

  std::optional<OpenAlarm> FindOpenAlarm(const std::string& chassis, const std::string& alarm);
  // Counts one open alarm less of severity `gone` and one more of severity `come`; either may be
  // null.
  void CountAlarms(std::int64_t manager, const std::string* gone, const std::string* come);
  AlarmOutcome RaiseAlarm(std::int64_t manager, const EventRecord& event, std::int64_t id,
                          const std::string& alarm);
  AlarmOutcome ClearAlarm(std::int64_t manager, const EventRecord& event, const std::string& alarm);
  // A part of a log in the order of arrival.
  std::vector<LoggedEvent> ListArrived(const LogFilter& filter);
  void AddReadings(const Readings& readings);

  // Removes up to `most` rows; returns how many there were, less than `most` when none is left.
  std::int64_t RemoveRest(Rest kind, std::int64_t key, std::int64_t most);
  void MakeNextDay(const std::string& table);
  // The oldest day of the table's partitions, if it is over before the day of a time.
  std::optional<std::int64_t> OldestDay(const std::string& table, std::int64_t before);
  bool RemoveOldReadings(std::int64_t before, std::int64_t most);
  bool RemoveOldEvents(std::int64_t before, std::int64_t most);

  // Appends the rest of a page of the list of documents that has only those of the kind.
  void ListDocumentsOf(DocumentName::Kind kind, const std::string& manager,
                       const ListPage<DocumentPlace>& page, std::vector<DocumentRecord>& documents);

  // Writes the noted changes into the table of changes.
  void KeepChanges();
  // Note changes for that table.
  void NoteAppliance(const std::string& uuid);
  void NoteGone(const std::string& uuid);
  void NoteDocument(const std::string& manager, const DocumentName& document);

  Connection& m_connection;
  Days& m_days;
  const Mode m_mode;
  bool m_begun = false;
  bool m_totalsChanged = false;
  bool m_shared = false;
  std::size_t m_writes = 0;
  std::size_t m_writesBefore = 0;               // the unit of work that began last
  std::map<std::string, std::int64_t> m_owned;  // keys by UUID
  Batch m_batch;
  std::map<std::string, Known> m_managers;       // by UUID
  Asked<std::string, SenderRecord> m_senders;    // by the token's hash
  Asked<InManager, bool> m_chassis;              // by the identifier
  Asked<InManager, ResourceRecord> m_resources;  // by the path
  std::vector<Change> m_changes;
};

// For a page of a list by texts: the least text that may be on it.
inline std::string FirstText(const std::optional<std::string>& after) {
  // No text lies between one and the same with a NUL behind it.
  return after ? *after + '\0' : std::string();
}

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_POSTGRESTRANSACTION_H_
