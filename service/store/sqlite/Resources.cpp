// SPDX-License-Identifier: Apache-2.0
// Documents below chassis and managers.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const Sql kResourceByPath(
    "SELECT path, manager, chassis, document, changed FROM resource "
    "WHERE path = ? AND manager = ?");
const Sql kHasResource("SELECT 1 FROM resource WHERE path = ? AND manager = ?");
const Sql kPaths(
    "SELECT path FROM resource WHERE manager = ? AND chassis IS ? AND path >= ? "
    "ORDER BY path LIMIT ?");
// The paths below PATH lie between PATH/ and PATH0, since "0" comes after "/". The plus keeps the
// search away from the index of managers, so that it uses the paths.
const Sql kChildren(
    "SELECT path FROM resource WHERE path >= ? AND path < ? AND +manager = ? "
    "AND instr(substr(path, ?), '/') = 0 ORDER BY path LIMIT ?");
const Sql kPutResource(
    "INSERT INTO resource (path, manager, chassis, document, changed) "
    "VALUES (?, ?, ?, ?, ?) ON CONFLICT (path) "
    "DO UPDATE SET document = excluded.document, changed = excluded.changed");

std::vector<std::string> TextsOf(Statement& select) {
  std::vector<std::string> texts;
  while (select.Step()) texts.push_back(select.Text(0));
  return texts;
}

}  // namespace

bool SqliteTransaction::HasResource(const std::string& manager, const std::string& path) {
  Statement select(m_database, kHasResource);
  return select.Bind(path).Bind(manager).Step();
}

std::optional<ResourceRecord> SqliteTransaction::FindResource(const std::string& manager,
                                                              const std::string& path) {
  Statement select(m_database, kResourceByPath);
  select.Bind(path).Bind(manager);
  if (!select.Step()) return std::nullopt;
  ResourceRecord resource;
  resource.path = select.Text(0);
  resource.manager = select.Text(1);
  resource.chassis = select.OptionalText(2);
  resource.document = select.Text(3);
  resource.changed = select.Number(4);
  return resource;
}

std::vector<std::string> SqliteTransaction::ListResources(const std::string& manager,
                                                          const std::optional<std::string>& chassis,
                                                          const ListPage<std::string>& page) {
  Statement select(m_database, kPaths);
  select.Bind(manager).Bind(chassis).Bind(FirstText(page.after)).Bind(page.limit);
  return TextsOf(select);
}

std::vector<std::string> SqliteTransaction::ListChildren(const std::string& manager,
                                                         const std::string& path,
                                                         const ListPage<std::string>& page) {
  Statement select(m_database, kChildren);
  const std::string folder = path + "/";
  select.Bind(FirstText(page.after.value_or(folder))).Bind(path + "0").Bind(manager);
  select.Bind(static_cast<std::int64_t>(folder.size() + 1)).Bind(page.limit);
  return TextsOf(select);
}

bool SqliteTransaction::HasChildren(const std::string& manager, const std::string& path) {
  return !ListChildren(manager, path, {std::nullopt, 1}).empty();
}

void SqliteTransaction::PutResource(const ResourceRecord& resource, const Readings& readings) {
  Statement(m_database, kPutResource)
      .Bind(resource.path)
      .Bind(resource.manager)
      .Bind(resource.chassis)
      .Bind(resource.document)
      .Bind(resource.changed)
      .Run();
  AddReadings(readings);
  NoteDocument(resource.manager, {DocumentName::Kind::kResource, resource.path});
}

}  // namespace cloudservice
