#include "service/store/Store.h"

namespace cloudservice {

std::optional<ResourceRecord> Store::FindResource(const std::string& manager,
                                                  const std::string& path) {
  Statement select(m_database,
                   "SELECT path, manager, chassis, document, changed FROM resource "
                   "WHERE path = ? AND manager = ?");
  select.Bind(path).Bind(manager);
  if (!select.Step()) return std::nullopt;
  ResourceRecord resource;
  resource.path = select.Text(0);
  resource.manager = select.Text(1);
  if (!select.IsNull(2)) resource.chassis = select.Text(2);
  resource.document = select.Text(3);
  resource.changed = select.Number(4);
  return resource;
}

std::vector<std::string> Store::ListResources(const std::string& manager,
                                              const std::optional<std::string>& chassis) {
  Statement select(m_database,
                   "SELECT path FROM resource WHERE manager = ? AND chassis IS ? ORDER BY path");
  select.Bind(manager).Bind(chassis);
  std::vector<std::string> paths;
  while (select.Step()) paths.push_back(select.Text(0));
  return paths;
}

void Store::PutResource(const ResourceRecord& resource, const Readings& readings) {
  Transaction transaction(m_database);
  Statement(m_database,
            "INSERT INTO resource (path, manager, chassis, document, changed) "
            "VALUES (?, ?, ?, ?, ?) ON CONFLICT (path) "
            "DO UPDATE SET document = excluded.document, changed = excluded.changed")
      .Bind(resource.path)
      .Bind(resource.manager)
      .Bind(resource.chassis)
      .Bind(resource.document)
      .Bind(resource.changed)
      .Run();
  AddReadings(readings);
  transaction.Commit();
  Tell({Change::What::kDocument, resource.manager, 0, resource.path});
}

}  // namespace cloudservice
