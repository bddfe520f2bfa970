// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SQLITE_SQLITETRANSACTION_H_
#define SERVICE_STORE_SQLITE_SQLITETRANSACTION_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "service/store/Transaction.h"
#include "service/store/sqlite/Database.h"

namespace cloudservice {

// For a page of a list by texts: the least text that may be on it.
inline std::string FirstText(const std::optional<std::string>& after) {
  // No text lies between one and the same with a NUL behind it.
  return after ? *after + '\0' : std::string();
}

// The operations of a unit of work on a database file. Who makes one begins and ends the database's
// own transaction.
class SqliteTransaction : public Transaction {
 public:
  // The database outlives this object.
  explicit SqliteTransaction(Database& database) : m_database(database) {}

  // The changes so far of what appliances keep, for the store's listener.
  bool Changed() const { return m_changed; }

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
  struct OpenAlarm {
    std::int64_t id = 0;
    std::string severity;
  };

  std::vector<std::string> ListUuids(const FleetFilter& filter);
  std::vector<std::string> ListByState(const FleetFilter& filter);
  // The UUIDs of the appliances in the filter's state, ordered by name.
  std::vector<std::string> ListOfState(const FleetFilter& filter);
  // Counts only appliances with an open alarm of the severity.
  StateCounts CountStates(std::int64_t now, Severity severity);
  std::int64_t CountAll(std::optional<Severity> severity);
  std::optional<OpenAlarm> FindOpenAlarm(const std::string& chassis, const std::string& alarm);
  // Counts one open alarm less of severity `gone` and one more of severity `come`; either may be
  // null.
  void CountAlarms(const std::string& manager, const std::string* gone, const std::string* come);
  AlarmOutcome RaiseAlarm(const EventRecord& event, std::int64_t id, const std::string& alarm);
  AlarmOutcome ClearAlarm(const EventRecord& event, const std::string& alarm);
  void AddReadings(const Readings& readings);
  // True when there may be more.
  bool RemoveOldReadings(std::int64_t before, std::int64_t most);
  OldLeft RemoveOldEvents(const OldRows& old);
  std::optional<std::int64_t> MemberId(std::int64_t manager, const Readings& readings,
                                       const std::string& name);
  // The number of the manager in this database. Throws DatabaseError when there is none.
  std::int64_t ManagerNumber(const std::string& manager);
  // Removes the manager's row; what refers to it is left to RemoveNext(). False when there is none.
  bool TakeManager(const std::string& uuid);
  // Removes up to `most` managers of the account; returns how many.
  std::int64_t TakeManagers(std::int64_t account, std::int64_t most);
  // Removes managers of a deleted account, which count for about `most` rows; returns for how many
  // rows they count, 0 when no such account is left.
  std::int64_t RemoveNextManagers(std::int64_t most);

  // Appends the rest of a page of the list of documents that has only those of the kind.
  void ListDocumentsOf(DocumentName::Kind kind, const std::string& manager,
                       const ListPage<DocumentPlace>& page, std::vector<DocumentRecord>& documents);

  // Note changes that the listener is told after the commit, and other processes.
  void Note(const Change& change);
  void NoteAppliance(const std::string& uuid);
  void NoteGone(const std::string& uuid);
  void NoteDocument(const std::string& manager, const DocumentName& document);

  Database& m_database;
  bool m_changed = false;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_SQLITE_SQLITETRANSACTION_H_
