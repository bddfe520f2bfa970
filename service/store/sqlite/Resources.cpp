// SPDX-License-Identifier: Apache-2.0
// Documents below chassis and managers.
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const std::string kOwnResources =
    " FROM resource WHERE manager = (SELECT id FROM manager WHERE uuid = ?) ";
// Those of a removed chassis stay for a while, and are not seen.
const std::string kSeen =
    "AND (chassis IS NULL OR EXISTS (SELECT 1 FROM chassis WHERE number = resource.chassis)) ";
const Sql kResourceByPath(
    "SELECT path, (SELECT id FROM chassis WHERE number = resource.chassis), document, changed" +
    kOwnResources + kSeen + "AND path = ?");
const Sql kHasResource("SELECT 1" + kOwnResources + kSeen + "AND path = ?");
const Sql kPathsOfManager("SELECT path" + kOwnResources +
                          "AND chassis IS NULL AND path >= ? ORDER BY path LIMIT ?");
const Sql kPathsOfChassis("SELECT path" + kOwnResources +
                          "AND chassis = (SELECT number FROM chassis WHERE id = ?) AND path >= ? "
                          "ORDER BY path LIMIT ?");
// The paths below PATH lie between PATH/ and PATH0, since "0" comes after "/".
const Sql kChildren("SELECT path" + kOwnResources + kSeen +
                    "AND path >= ? AND path < ? AND instr(substr(path, ?), '/') = 0 "
                    "ORDER BY path LIMIT ?");
// Puts nothing where there is no such manager or chassis.
const Sql kPutResource(
    "INSERT INTO resource (manager, chassis, path, document, changed) "
    "SELECT manager.id, number, ?3, ?4, ?5 FROM manager "
    "LEFT JOIN chassis ON chassis.id = ?2 AND chassis.manager = manager.id "
    "WHERE uuid = ?1 AND (?2 IS NULL OR number IS NOT NULL) ON CONFLICT (manager, path) "
    "DO UPDATE SET document = excluded.document, changed = excluded.changed");

const Sql kUsage("SELECT documents, bytes FROM manager WHERE uuid = ? AND documents IS NOT NULL");
const std::string kSize = "SELECT length(CAST(document AS BLOB)) AS size FROM ";
const std::string kOfManager = " WHERE manager = manager.id ";
const Sql kCountUsage("UPDATE manager SET (documents, bytes) = (SELECT count(*), sum(size) FROM (" +
                      kSize + "manager_document" + kOfManager + "UNION ALL " + kSize + "chassis" +
                      kOfManager + "UNION ALL " + kSize + "resource" + kOfManager +
                      ")) WHERE uuid = ? RETURNING documents, bytes");

std::vector<std::string> TextsOf(Statement& select) {
  std::vector<std::string> texts;
  while (select.Step()) texts.push_back(select.Text(0));
  return texts;
}

}  // namespace

bool SqliteTransaction::HasResource(const std::string& manager, const std::string& path) {
  Statement select(m_database, kHasResource);
  return select.Bind(manager).Bind(path).Step();
}

std::optional<ResourceRecord> SqliteTransaction::FindResource(const std::string& manager,
                                                              const std::string& path) {
  Statement select(m_database, kResourceByPath);
  select.Bind(manager).Bind(path);
  if (!select.Step()) return std::nullopt;
  ResourceRecord resource;
  resource.path = select.Text(0);
  resource.manager = manager;
  resource.chassis = select.OptionalText(1);
  resource.document = select.Text(2);
  resource.changed = select.Number(3);
  return resource;
}

std::vector<std::string> SqliteTransaction::ListResources(const std::string& manager,
                                                          const std::optional<std::string>& chassis,
                                                          const ListPage<std::string>& page) {
  Statement select(m_database, chassis ? kPathsOfChassis : kPathsOfManager);
  select.Bind(manager);
  if (chassis) select.Bind(*chassis);
  select.Bind(FirstText(page.after)).Bind(page.limit);
  return TextsOf(select);
}

std::vector<std::string> SqliteTransaction::ListChildren(const std::string& manager,
                                                         const std::string& path,
                                                         const ListPage<std::string>& page) {
  Statement select(m_database, kChildren);
  const std::string folder = path + "/";
  select.Bind(manager).Bind(FirstText(page.after.value_or(folder))).Bind(path + "0");
  select.Bind(static_cast<std::int64_t>(folder.size() + 1)).Bind(page.limit);
  return TextsOf(select);
}

bool SqliteTransaction::HasChildren(const std::string& manager, const std::string& path) {
  return !ListChildren(manager, path, {std::nullopt, 1}).empty();
}

void SqliteTransaction::PutResource(const ResourceRecord& resource, const Readings& readings) {
  Statement(m_database, kPutResource)
      .Bind(resource.manager)
      .Bind(resource.chassis)
      .Bind(resource.path)
      .Bind(resource.document)
      .Bind(resource.changed)
      .Run();
  if (m_database.Changes() == 0) throw DatabaseError("no manager or chassis has " + resource.path);
  AddReadings(readings);
  NoteDocument(resource.manager, {DocumentName::Kind::kResource, resource.path});
}

Usage SqliteTransaction::FindUsage(const std::string& manager) {
  Statement known(m_database, kUsage);
  if (known.Bind(manager).Step()) return {known.Number(0), known.Number(1)};
  Statement count(m_database, kCountUsage);
  if (!count.Bind(manager).Step()) throw DatabaseError("there is no manager " + manager);
  const Usage usage = {count.Number(0), count.Number(1)};
  count.Step();
  return usage;
}

}  // namespace cloudservice
