#include "service/store/Store.h"

namespace cloudservice {

namespace {

const std::string kColumns =
    "SELECT manager.uuid, manager.name, manager.document, manager.registered, "
    "manager.heartbeat_count, manager.heartbeat_last, manager.heartbeat_interval, "
    "manager.account, manager.address, manager.changed, account.email, "
    "(SELECT id FROM chassis WHERE chassis.manager = manager.uuid ORDER BY rowid LIMIT 1) "
    "FROM manager LEFT JOIN account ON account.id = manager.account ";

std::optional<std::string> OptionalText(const Statement& select, int column) {
  if (select.IsNull(column)) return std::nullopt;
  return select.Text(column);
}

ApplianceRecord Read(const Statement& select) {
  ApplianceRecord appliance;
  appliance.manager.uuid = select.Text(0);
  appliance.manager.name = select.Text(1);
  appliance.manager.document = select.Text(2);
  appliance.manager.registered = select.Number(3);
  appliance.manager.heartbeat.count = select.Number(4);
  appliance.manager.heartbeat.last = select.OptionalNumber(5);
  appliance.manager.heartbeat.interval = select.OptionalNumber(6);
  appliance.manager.account = select.OptionalNumber(7);
  appliance.manager.address = select.Text(8);
  appliance.changed = select.Number(9);
  appliance.email = OptionalText(select, 10);
  appliance.chassis = OptionalText(select, 11);
  return appliance;
}

// Paths of what has a row of its own, not one in `resource`.
constexpr const char* kDocuments =
    "SELECT path, document, changed FROM ("
    "SELECT '/redfish/v1/Managers/' || uuid AS path, document, changed FROM manager "
    "WHERE uuid = ?1 UNION ALL "
    "SELECT '/redfish/v1/Chassis/' || id, document, changed FROM chassis WHERE manager = ?1 "
    "UNION ALL SELECT path, document, changed FROM resource WHERE manager = ?1) ";

DocumentRecord ReadDocument(const Statement& select) {
  return {select.Text(0), select.Text(1), select.Number(2)};
}

}  // namespace

std::vector<ApplianceRecord> Store::ListAppliances() {
  Statement select(m_database, kColumns.c_str());
  std::vector<ApplianceRecord> appliances;
  while (select.Step()) appliances.push_back(Read(select));
  return appliances;
}

std::optional<ApplianceRecord> Store::FindAppliance(const std::string& uuid) {
  Statement select(m_database, (kColumns + "WHERE manager.uuid = ?").c_str());
  select.Bind(uuid);
  if (!select.Step()) return std::nullopt;
  return Read(select);
}

std::vector<std::string> Store::ListDue(std::int64_t from, std::int64_t to, std::int64_t factor,
                                        std::int64_t interval) {
  Statement select(m_database,
                   "SELECT uuid FROM (SELECT uuid, coalesce(heartbeat_last, registered) + "
                   "?3 * coalesce(heartbeat_interval, ?4) AS due FROM manager) "
                   "WHERE due > ?1 AND due <= ?2");
  select.Bind(from).Bind(to).Bind(factor).Bind(interval);
  std::vector<std::string> uuids;
  while (select.Step()) uuids.push_back(select.Text(0));
  return uuids;
}

std::vector<ChassisRecord> Store::ListChassisRecords(const std::string& manager) {
  Statement select(
      m_database,
      "SELECT id, manager, document, created FROM chassis WHERE manager = ? ORDER BY rowid");
  select.Bind(manager);
  std::vector<ChassisRecord> list;
  while (select.Step()) {
    list.push_back({select.Text(0), select.Text(1), select.Text(2), select.Number(3)});
  }
  return list;
}

std::vector<DocumentRecord> Store::ListDocuments(const std::string& manager) {
  Statement select(m_database, (std::string(kDocuments) + "ORDER BY path").c_str());
  select.Bind(manager);
  std::vector<DocumentRecord> documents;
  while (select.Step()) documents.push_back(ReadDocument(select));
  return documents;
}

std::optional<DocumentRecord> Store::FindDocument(const std::string& manager,
                                                  const std::string& path) {
  Statement select(m_database, (std::string(kDocuments) + "WHERE path = ?2").c_str());
  select.Bind(manager).Bind(path);
  if (!select.Step()) return std::nullopt;
  return ReadDocument(select);
}

std::vector<MemberRecord> Store::ListMembers(const std::string& manager,
                                             const std::optional<std::string>& path) {
  Statement select(m_database,
                   "SELECT id, path, name FROM member WHERE manager = ?1 "
                   "AND (?2 IS NULL OR path = ?2) ORDER BY path, name");
  select.Bind(manager).Bind(path);
  std::vector<MemberRecord> members;
  while (select.Step()) members.push_back({select.Number(0), select.Text(1), select.Text(2)});
  return members;
}

void Store::ReadHistory(
    std::int64_t member, std::int64_t since, std::int64_t until,
    const std::function<void(std::int64_t time, const std::string& value)>& take) {
  Statement select(m_database,
                   "SELECT time, value FROM reading "
                   "WHERE member = ? AND time >= ? AND time < ? ORDER BY time, id");
  select.Bind(member).Bind(since).Bind(until);
  while (select.Step()) take(select.Number(0), select.Text(1));
}

std::int64_t Store::ForeignChanges() {
  Statement select(m_database, "PRAGMA data_version");
  return select.Step() ? select.Number(0) : 0;
}

}  // namespace cloudservice
