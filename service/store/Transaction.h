// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_TRANSACTION_H_
#define SERVICE_STORE_TRANSACTION_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "service/store/Records.h"

namespace cloudservice {

// What can be asked and changed of everything that the service keeps, in one unit of work: it sees
// one state, and what it changes happens whole or not at all. A back end implements these
// operations, and nobody beside it knows how they are kept. Lives inside Store::Read or
// Store::Write, on the thread that runs it. Every operation throws DatabaseError.
class Transaction {
 public:
  virtual ~Transaction() = default;

  // Counted anew only when something has changed them.
  virtual Totals CountTotals() = 0;
  // Managers that never sent a heartbeat.
  virtual std::int64_t CountSilent() = 0;
  // Of the database.
  virtual std::int64_t CountBytes() = 0;

  // Takes the place of the manager with the same UUID, with all that it holds; true when there was
  // one.
  virtual bool AddManager(const ManagerRecord& manager, const std::string& tokenHash) = 0;
  virtual std::optional<ManagerRecord> FindManager(const std::string& uuid) = 0;
  virtual std::optional<ManagerRecord> FindManagerByToken(const std::string& tokenHash) = 0;
  virtual void SetManagerDocument(const std::string& uuid, const std::string& document,
                                  const Readings& readings) = 0;
  virtual void DeleteManager(const std::string& uuid) = 0;
  // Returns the count, this one included. An empty address leaves the one that is known.
  virtual std::int64_t AddHeartbeat(const std::string& uuid, std::int64_t when,
                                    std::int64_t interval, const std::string& address) = 0;

  virtual void AddChassis(const ChassisRecord& chassis) = 0;
  virtual bool HasChassis(const std::string& manager, const std::string& id) = 0;
  virtual std::optional<ChassisRecord> FindChassis(const std::string& manager,
                                                   const std::string& id) = 0;
  // The identifiers in order of creation.
  virtual std::vector<std::string> ListChassis(const std::string& manager) = 0;
  virtual void SetChassisDocument(const std::string& id, const std::string& document,
                                  const Readings& readings) = 0;
  // With its resources and alarms; its events stay.
  virtual void DeleteChassis(const std::string& id) = 0;

  virtual bool HasResource(const std::string& manager, const std::string& path) = 0;
  virtual std::optional<ResourceRecord> FindResource(const std::string& manager,
                                                     const std::string& path) = 0;
  // The paths of those below the chassis, or below the manager itself, in their order.
  virtual std::vector<std::string> ListResources(const std::string& manager,
                                                 const std::optional<std::string>& chassis) = 0;
  // The paths one segment below this one, in their order.
  virtual std::vector<std::string> ListChildren(const std::string& manager,
                                                const std::string& path) = 0;
  virtual bool HasChildren(const std::string& manager, const std::string& path) = 0;
  virtual void PutResource(const ResourceRecord& resource, const Readings& readings) = 0;

  // What has a value not older than `since`, in order of names.
  virtual std::vector<std::string> ListHistoryMembers(const std::string& manager,
                                                      const std::string& path,
                                                      std::int64_t since) = 0;
  // In order of arrival; empty also for a member that is not known.
  virtual std::vector<HistoryValue> ListHistory(const HistoryFilter& filter) = 0;
  // Takes the last heartbeats of appliances that lie behind `now` for ones of now: a clock that was
  // set back would keep them alive for as long as it was set. Returns how many there were.
  virtual std::int64_t ClampHeartbeats(std::int64_t now) = 0;
  // Drops readings older than `readings`, and events older than `events` except those that stand
  // for an open alarm, up to `most` of each; true: there may be more.
  virtual bool RemoveOld(std::int64_t readings, std::int64_t events, std::int64_t most) = 0;

  // Stores the event (its `id` and `kind` are not looked at) and opens, changes or closes the alarm
  // `alarm` of its chassis, as the rules say of its identifier and severity.
  virtual StoredEvent AddEvent(const EventRecord& event, const std::string& alarm) = 0;
  virtual std::optional<EventRecord> FindEvent(const std::string& manager, std::int64_t id) = 0;
  // The identifiers, oldest first.
  virtual std::vector<std::int64_t> ListEvents(const EventFilter& filter) = 0;
  virtual std::vector<std::int64_t> ListEventPage(const EventPage& page) = 0;
  // All that the manager has.
  virtual std::int64_t CountEvents(const std::string& manager) = 0;

  virtual std::optional<AccountRecord> FindAccount(const std::string& email) = 0;
  // In order of their addresses, up to `limit` of those behind `after`.
  virtual std::vector<AccountRecord> ListAccounts(const std::string& after, std::int64_t limit) = 0;
  // Whether there is one with a key.
  virtual bool HasAccounts() = 0;
  // Gives the account a key, beside those that it has or in their place; makes the account when
  // there is none.
  virtual void AddRegistrationKey(const std::string& email, const std::string& hash, bool replace,
                                  std::int64_t now) = 0;
  // The hashes, oldest first.
  virtual std::vector<std::string> ListRegistrationKeys(std::int64_t account) = 0;
  // With its keys. Its managers go too, or stay with what they sent: their tokens end, and whoever
  // registers one of them next owns it.
  virtual void DeleteAccount(std::int64_t account, bool withManagers) = 0;

  // False when there is one of this name.
  virtual bool AddOperator(const OperatorRecord& person) = 0;
  virtual std::optional<OperatorRecord> FindOperator(const std::string& name) = 0;
  virtual std::optional<OperatorRecord> FindOperator(std::int64_t id) = 0;
  virtual std::optional<OperatorRecord> FindOperatorByToken(const std::string& tokenHash) = 0;
  // In order of their names.
  virtual std::vector<OperatorRecord> ListOperators() = 0;
  // False when there is none of this name.
  virtual bool DeleteOperator(const std::string& name) = 0;

  // By places: an appliance that keeps its own is in exactly one of the pages that follow each
  // other's ends, whatever comes, goes and moves meanwhile.
  virtual std::vector<ApplianceRecord> ListAppliances(const FleetFilter& filter) = 0;
  // How many pass the filter, whatever part of them it wants.
  virtual std::int64_t CountAppliances(const FleetFilter& filter) = 0;
  virtual StateCounts CountStates(std::int64_t now) = 0;
  virtual std::optional<ApplianceRecord> FindAppliance(const std::string& uuid) = 0;
  // Those that have become late or offline after `from` and not after `to`.
  virtual std::vector<std::string> ListDue(std::int64_t from, std::int64_t to) = 0;
  // Newest first.
  virtual std::vector<AlarmRecord> ListOpenAlarms(const std::string& manager) = 0;
  virtual std::vector<LoggedEvent> ListLog(const LogFilter& filter) = 0;
  virtual std::vector<ChassisRecord> ListChassisRecords(const std::string& manager) = 0;
  // The manager's own, its chassis' in order of creation, its resources' in the order of paths.
  virtual std::vector<DocumentRecord> ListDocuments(const std::string& manager) = 0;
  virtual std::optional<DocumentRecord> FindDocument(const std::string& manager,
                                                     const DocumentName& name) = 0;
  // What has a history, of all documents or of one, in the order of paths and names.
  virtual std::vector<MemberRecord> ListMembers(const std::string& manager,
                                                const std::optional<std::string>& path) = 0;
  // Gives each value of the half-open stretch of time to `take`, in order of time.
  virtual void ReadHistory(
      std::int64_t member, std::int64_t since, std::int64_t until,
      const std::function<void(std::int64_t time, const std::string& value)>& take) = 0;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_TRANSACTION_H_
