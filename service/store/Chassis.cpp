#include "service/store/Store.h"

namespace cloudservice {

void Store::AddChassis(const ChassisRecord& chassis) {
  Statement(m_database, "INSERT INTO chassis (id, manager, document, created) VALUES (?, ?, ?, ?)")
      .Bind(chassis.id)
      .Bind(chassis.manager)
      .Bind(chassis.document)
      .Bind(chassis.created)
      .Run();
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
  Statement(m_database, "UPDATE chassis SET document = ? WHERE id = ?")
      .Bind(document)
      .Bind(id)
      .Run();
  AddReadings(readings);
  transaction.Commit();
}

void Store::DeleteChassis(const std::string& id) {
  Statement(m_database, "DELETE FROM chassis WHERE id = ?").Bind(id).Run();
}

}  // namespace cloudservice
