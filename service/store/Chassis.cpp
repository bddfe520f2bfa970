#include "service/store/Store.h"

namespace cloudservice {

namespace {

std::string PathOf(const std::string& id) { return "/redfish/v1/Chassis/" + id; }

}  // namespace

void Store::AddChassis(const ChassisRecord& chassis) {
  Statement(m_database,
            "INSERT INTO chassis (id, manager, document, created, changed) "
            "VALUES (?, ?, ?, ?, ?)")
      .Bind(chassis.id)
      .Bind(chassis.manager)
      .Bind(chassis.document)
      .Bind(chassis.created)
      .Bind(chassis.created)
      .Run();
  Tell({Change::What::kDocument, chassis.manager, 0, PathOf(chassis.id)});
  Tell({Change::What::kAppliance, chassis.manager, 0, ""});
}

bool Store::HasChassis(const std::string& manager, const std::string& id) {
  Statement select(m_database, "SELECT 1 FROM chassis WHERE id = ? AND manager = ?");
  return select.Bind(id).Bind(manager).Step();
}

std::optional<ChassisRecord> Store::FindChassis(const std::string& manager, const std::string& id) {
  Statement select(m_database,
                   "SELECT id, manager, document, created FROM chassis "
                   "WHERE id = ? AND manager = ?");
  select.Bind(id).Bind(manager);
  if (!select.Step()) return std::nullopt;
  return ChassisRecord{select.Text(0), select.Text(1), select.Text(2), select.Number(3)};
}

std::vector<std::string> Store::ListChassis(const std::string& manager) {
  Statement select(m_database, "SELECT id FROM chassis WHERE manager = ? ORDER BY rowid");
  select.Bind(manager);
  std::vector<std::string> ids;
  while (select.Step()) ids.push_back(select.Text(0));
  return ids;
}

void Store::SetChassisDocument(const std::string& id, const std::string& document,
                               const Readings& readings) {
  Transaction transaction(m_database);
  Statement(m_database, "UPDATE chassis SET document = ?, changed = ? WHERE id = ?")
      .Bind(document)
      .Bind(readings.time)
      .Bind(id)
      .Run();
  AddReadings(readings);
  transaction.Commit();
  Tell({Change::What::kDocument, readings.manager, 0, readings.path});
}

void Store::DeleteChassis(const std::string& id) {
  Statement owner(m_database, "SELECT manager FROM chassis WHERE id = ?");
  owner.Bind(id);
  const std::string manager = owner.Step() ? owner.Text(0) : "";
  Statement(m_database, "DELETE FROM chassis WHERE id = ?").Bind(id).Run();
  if (manager.empty()) return;
  Tell({Change::What::kDocument, manager, 0, PathOf(id)});
  Tell({Change::What::kAppliance, manager, 0, ""});
}

}  // namespace cloudservice
