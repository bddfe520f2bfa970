#include "service/store/Schema.h"
#include "service/store/Store.h"

namespace cloudservice {

namespace {

constexpr const char* kByUuid =
    "SELECT uuid, name, document, registered, heartbeat_count, heartbeat_last, heartbeat_interval, "
    "account, address FROM manager WHERE uuid = ?";
constexpr const char* kByToken =
    "SELECT uuid, name, document, registered, heartbeat_count, heartbeat_last, heartbeat_interval, "
    "account, address FROM manager WHERE token_hash = ?";

std::optional<ManagerRecord> Find(Database& database, const char* sql, const std::string& key) {
  Statement select(database, sql);
  select.Bind(key);
  if (!select.Step()) return std::nullopt;
  ManagerRecord manager;
  manager.uuid = select.Text(0);
  manager.name = select.Text(1);
  manager.document = select.Text(2);
  manager.registered = select.Number(3);
  manager.heartbeat.count = select.Number(4);
  manager.heartbeat.last = select.OptionalNumber(5);
  manager.heartbeat.interval = select.OptionalNumber(6);
  manager.account = select.OptionalNumber(7);
  manager.address = select.Text(8);
  return manager;
}

}  // namespace

Store::Store(const std::string& file, Database::Missing missing)
    : m_database(file, missing), m_kept_copy(UpgradeSchema(m_database, file)) {}

bool Store::AddManager(const ManagerRecord& manager, const std::string& token_hash) {
  Transaction transaction(m_database);
  Statement(m_database, "DELETE FROM manager WHERE uuid = ?").Bind(manager.uuid).Run();
  const bool known = m_database.Changes() > 0;
  Statement(m_database,
            "INSERT INTO manager (uuid, name, token_hash, document, registered, account, address, "
            "changed) VALUES (?, ?, ?, ?, ?, ?, ?, ?)")
      .Bind(manager.uuid)
      .Bind(manager.name)
      .Bind(token_hash)
      .Bind(manager.document)
      .Bind(manager.registered)
      .Bind(manager.account)
      .Bind(manager.address)
      .Bind(manager.registered)
      .Run();
  transaction.Commit();
  if (known) Tell({Change::What::kGone, manager.uuid, 0, ""});
  Tell({Change::What::kAppliance, manager.uuid, 0, ""});
  return known;
}

std::optional<ManagerRecord> Store::FindManager(const std::string& uuid) {
  return Find(m_database, kByUuid, uuid);
}

std::optional<ManagerRecord> Store::FindManagerByToken(const std::string& token_hash) {
  return Find(m_database, kByToken, token_hash);
}

void Store::SetManagerDocument(const std::string& uuid, const std::string& document,
                               const Readings& readings) {
  Transaction transaction(m_database);
  Statement(m_database, "UPDATE manager SET document = ?, changed = ? WHERE uuid = ?")
      .Bind(document)
      .Bind(readings.time)
      .Bind(uuid)
      .Run();
  AddReadings(readings);
  transaction.Commit();
  Tell({Change::What::kDocument, uuid, 0, readings.path});
  Tell({Change::What::kAppliance, uuid, 0, ""});
}

void Store::DeleteManager(const std::string& uuid) {
  Statement(m_database, "DELETE FROM manager WHERE uuid = ?").Bind(uuid).Run();
  Tell({Change::What::kGone, uuid, 0, ""});
}

std::int64_t Store::AddHeartbeat(const std::string& uuid, std::int64_t when, std::int64_t interval,
                                 const std::string& address) {
  Statement update(m_database,
                   "UPDATE manager SET heartbeat_count = heartbeat_count + 1, heartbeat_last = ?, "
                   "heartbeat_interval = ?, address = coalesce(nullif(?, ''), address) "
                   "WHERE uuid = ? RETURNING heartbeat_count");
  update.Bind(when).Bind(interval).Bind(address).Bind(uuid);
  if (!update.Step()) return 0;
  const std::int64_t count = update.Number(0);
  // The change is on the disk only when the statement has come to its end.
  update.Run();
  Tell({Change::What::kAppliance, uuid, 0, ""});
  return count;
}

}  // namespace cloudservice
