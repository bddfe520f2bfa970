// SPDX-License-Identifier: Apache-2.0
#include "service/store/Store.h"

namespace cloudservice {

namespace {

const Sql kAddChassis(
    "INSERT INTO chassis (id, manager, document, created, changed) VALUES (?, ?, ?, ?, ?)");
const Sql kChassisById(
    "SELECT id, manager, document, created FROM chassis WHERE id = ? AND manager = ?");
const Sql kHasChassis("SELECT 1 FROM chassis WHERE id = ? AND manager = ?");
const Sql kChassisIds("SELECT id FROM chassis WHERE manager = ? ORDER BY rowid");
const Sql kOwnerOfChassis("SELECT manager FROM chassis WHERE id = ?");
const Sql kChangeChassis("UPDATE chassis SET document = ?, changed = ? WHERE id = ?");
const Sql kDeleteChassis("DELETE FROM chassis WHERE id = ?");
const Sql kCountAlarmsAnew(
    "UPDATE manager SET (faults, alarms, warnings) = ("
    "SELECT coalesce(sum(lower(severity) IN ('fault', 'critical')), 0), "
    "coalesce(sum(lower(severity) NOT IN ('fault', 'critical', 'warning')), 0), "
    "coalesce(sum(lower(severity) = 'warning'), 0) "
    "FROM chassis CROSS JOIN alarm ON alarm.chassis = chassis.id AND alarm.closed IS NULL "
    "WHERE chassis.manager = manager.uuid) WHERE uuid = ?");

std::string PathOf(const std::string& id) { return "/redfish/v1/Chassis/" + id; }

}  // namespace

void Store::AddChassis(const ChassisRecord& chassis) {
  Statement(m_database, kAddChassis)
      .Bind(chassis.id)
      .Bind(chassis.manager)
      .Bind(chassis.document)
      .Bind(chassis.created)
      .Bind(chassis.created)
      .Run();
  m_totals.reset();
  Tell({Change::What::kDocument, chassis.manager, 0, PathOf(chassis.id)});
  Tell({Change::What::kAppliance, chassis.manager, 0, ""});
}

bool Store::HasChassis(const std::string& manager, const std::string& id) {
  Statement select(m_database, kHasChassis);
  return select.Bind(id).Bind(manager).Step();
}

std::optional<ChassisRecord> Store::FindChassis(const std::string& manager, const std::string& id) {
  Statement select(m_database, kChassisById);
  select.Bind(id).Bind(manager);
  if (!select.Step()) return std::nullopt;
  return ChassisRecord{select.Text(0), select.Text(1), select.Text(2), select.Number(3)};
}

std::vector<std::string> Store::ListChassis(const std::string& manager) {
  Statement select(m_database, kChassisIds);
  select.Bind(manager);
  std::vector<std::string> ids;
  while (select.Step()) ids.push_back(select.Text(0));
  return ids;
}

void Store::SetChassisDocument(const std::string& id, const std::string& document,
                               const Readings& readings) {
  Transaction transaction(m_database);
  Statement(m_database, kChangeChassis).Bind(document).Bind(readings.time).Bind(id).Run();
  AddReadings(readings);
  transaction.Commit();
  Tell({Change::What::kDocument, readings.manager, 0, readings.path});
}

void Store::DeleteChassis(const std::string& id) {
  Transaction transaction(m_database);
  Statement owner(m_database, kOwnerOfChassis);
  owner.Bind(id);
  if (!owner.Step()) return;
  const std::string manager = owner.Text(0);
  Statement(m_database, kDeleteChassis).Bind(id).Run();
  Statement(m_database, kCountAlarmsAnew).Bind(manager).Run();
  transaction.Commit();
  m_totals.reset();
  Tell({Change::What::kDocument, manager, 0, PathOf(id)});
  Tell({Change::What::kAppliance, manager, 0, ""});
}

}  // namespace cloudservice
