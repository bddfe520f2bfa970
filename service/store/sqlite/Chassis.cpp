// SPDX-License-Identifier: Apache-2.0
// Chassis.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const Sql kAddChassis(
    "INSERT INTO chassis (id, manager, document, created, changed) "
    "VALUES (?, (SELECT id FROM manager WHERE uuid = ?), ?, ?, ?)");
const std::string kOwnChassis =
    "FROM manager CROSS JOIN chassis ON chassis.manager = manager.id WHERE uuid = ? AND ";
const std::string kRecord = "SELECT chassis.id, uuid, document, created, number " + kOwnChassis;
const std::string kBehind = "number > ? ORDER BY number LIMIT ?";
const Sql kChassisById(kRecord + "chassis.id = ?");
const Sql kHasChassis("SELECT 1 " + kOwnChassis + "chassis.id = ?");
const Sql kChassisRecords(kRecord + kBehind);
const Sql kChassisNames("SELECT chassis.id, number " + kOwnChassis + kBehind);
const Sql kOwnerOfChassis(
    "SELECT number, manager.id, uuid FROM chassis JOIN manager ON manager.id = manager "
    "WHERE chassis.id = ?");
const Sql kChangeChassis("UPDATE chassis SET document = ?, changed = ? WHERE id = ?");
const Sql kTakeChassis("DELETE FROM chassis WHERE number = ?");
const Sql kLeaveRestOfChassis("INSERT INTO removal (manager, chassis) VALUES (?, ?)");
// The alarms that the chassis has open are no longer counted.
const Sql kCountAlarmsLess(
    "UPDATE manager SET (faults, alarms, warnings) = ("
    "SELECT manager.faults - coalesce(sum(rank = 0), 0), "
    "manager.alarms - coalesce(sum(rank = 1), 0), manager.warnings - coalesce(sum(rank = 2), 0) "
    "FROM alarm WHERE chassis = ?1 AND closed IS NULL) WHERE id = ?2");

ChassisRecord ReadChassis(const Statement& select) {
  return {select.Text(0), select.Text(1), select.Text(2), select.Number(3), select.Number(4)};
}

}  // namespace

void SqliteTransaction::AddChassis(const ChassisRecord& chassis) {
  Statement(m_database, kAddChassis)
      .Bind(chassis.id)
      .Bind(chassis.manager)
      .Bind(chassis.document)
      .Bind(chassis.created)
      .Bind(chassis.created)
      .Run();
  NoteDocument(chassis.manager, {DocumentName::Kind::kChassis, chassis.id});
  NoteAppliance(chassis.manager);
}

bool SqliteTransaction::HasChassis(const std::string& manager, const std::string& id) {
  Statement select(m_database, kHasChassis);
  return select.Bind(manager).Bind(id).Step();
}

std::optional<ChassisRecord> SqliteTransaction::FindChassis(const std::string& manager,
                                                            const std::string& id) {
  Statement select(m_database, kChassisById);
  select.Bind(manager).Bind(id);
  if (!select.Step()) return std::nullopt;
  return ReadChassis(select);
}

std::vector<ChassisRecord> SqliteTransaction::ListChassisRecords(
    const std::string& manager, const ListPage<std::int64_t>& page) {
  Statement select(m_database, kChassisRecords);
  select.Bind(manager).Bind(page.after.value_or(0)).Bind(page.limit);
  std::vector<ChassisRecord> list;
  while (select.Step()) list.push_back(ReadChassis(select));
  return list;
}

std::vector<ChassisName> SqliteTransaction::ListChassis(const std::string& manager,
                                                        const ListPage<std::int64_t>& page) {
  Statement select(m_database, kChassisNames);
  select.Bind(manager).Bind(page.after.value_or(0)).Bind(page.limit);
  std::vector<ChassisName> list;
  while (select.Step()) list.push_back({select.Text(0), select.Number(1)});
  return list;
}

void SqliteTransaction::SetChassisDocument(const std::string& id, const std::string& document,
                                           const Readings& readings) {
  Statement(m_database, kChangeChassis).Bind(document).Bind(readings.time).Bind(id).Run();
  AddReadings(readings);
  NoteDocument(readings.manager, {DocumentName::Kind::kChassis, id});
}

void SqliteTransaction::DeleteChassis(const std::string& id) {
  Statement owner(m_database, kOwnerOfChassis);
  owner.Bind(id);
  if (!owner.Step()) return;
  const std::int64_t number = owner.Number(0);
  const std::int64_t managerNumber = owner.Number(1);
  const std::string manager = owner.Text(2);
  Statement(m_database, kTakeChassis).Bind(number).Run();
  Statement(m_database, kCountAlarmsLess).Bind(number).Bind(managerNumber).Run();
  Statement(m_database, kLeaveRestOfChassis).Bind(managerNumber).Bind(number).Run();
  NoteDocument(manager, {DocumentName::Kind::kChassis, id});
  NoteAppliance(manager);
}

}  // namespace cloudservice
