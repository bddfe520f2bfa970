// SPDX-License-Identifier: Apache-2.0
// Documents below chassis and managers.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

const std::string kOfManager = "manager = (SELECT key FROM manager WHERE uuid = $1) ";
const Sql kHasResource("SELECT 1 FROM resource WHERE " + kOfManager + "AND path = $2");
const Sql kPathsOfChassis("SELECT path FROM resource WHERE " + kOfManager +
                          "AND chassis = $2 AND path >= $3 ORDER BY path LIMIT $4");
const Sql kPathsOfManager("SELECT path FROM resource WHERE " + kOfManager +
                          "AND chassis IS NULL AND path >= $2 ORDER BY path LIMIT $3");
// The paths below PATH lie between PATH/ and PATH0, since "0" comes after "/".
const Sql kChildren(
    "SELECT path FROM resource WHERE " + kOfManager +
    "AND path >= $2 AND path < $3 AND strpos(substr(path, length($4) + 1), '/') = 0 "
    "ORDER BY path LIMIT $5");

std::vector<std::string> TextsOf(const Result& result) {
  std::vector<std::string> texts;
  for (const Row row : result) texts.push_back(row.Text(0));
  return texts;
}

}  // namespace

bool PostgresTransaction::HasResource(const std::string& manager, const std::string& path) {
  return !Run(kHasResource, {manager, path}).Empty();
}

std::vector<std::string> PostgresTransaction::ListResources(
    const std::string& manager, const std::optional<std::string>& chassis,
    const ListPage<std::string>& page) {
  const std::string first = FirstText(page.after);
  if (!chassis) return TextsOf(Run(kPathsOfManager, {manager, first, page.limit}));
  return TextsOf(Run(kPathsOfChassis, {manager, *chassis, first, page.limit}));
}

std::vector<std::string> PostgresTransaction::ListChildren(const std::string& manager,
                                                           const std::string& path,
                                                           const ListPage<std::string>& page) {
  const std::string folder = path + "/";
  return TextsOf(Run(kChildren, {manager, FirstText(page.after.value_or(folder)), path + "0",
                                 folder, page.limit}));
}

bool PostgresTransaction::HasChildren(const std::string& manager, const std::string& path) {
  return !ListChildren(manager, path, {std::nullopt, 1}).empty();
}

void PostgresTransaction::PutResource(const ResourceRecord& resource, const Readings& readings) {
  const std::int64_t key = Owned(resource.manager);
  if (m_batch.Has(key, resource.path)) WriteBatch();
  m_batch.PutResource(key, resource);
  ++m_writes;
  const auto manager = m_managers.find(resource.manager);
  if (manager != m_managers.end()) manager->second.usage.reset();
  if (m_shared) m_resources.known[{resource.manager, resource.path}] = resource;
  AddReadings(readings);
  NoteDocument(resource.manager, {DocumentName::Kind::kResource, resource.path});
}

}  // namespace cloudservice::postgresql
