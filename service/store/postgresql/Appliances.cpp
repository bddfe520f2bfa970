// SPDX-License-Identifier: Apache-2.0
// What one appliance keeps, as operators see it.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

// Those that were found late or offline since, and those of which their times say it.
const Sql kDue(
    "SELECT time, uuid FROM ("
    "SELECT CASE WHEN offline_at <= $3 THEN offline_at ELSE late_at END AS time, manager "
    "FROM heartbeat WHERE state > 0 AND went_at >= $1 AND went_at <= $3 "
    "UNION SELECT CASE WHEN offline_at <= $3 THEN offline_at ELSE late_at END, manager "
    "FROM heartbeat WHERE state IN (0, 1) AND next_at <= $3 AND late_at <= $3) AS due "
    "JOIN manager ON manager.key = due.manager "
    "WHERE (time, uuid) >= ($1, $2) ORDER BY time, uuid LIMIT $4");

const std::string kManagerDocuments =
    "SELECT uuid, document, changed, 0 FROM manager "
    "JOIN manager_document ON manager_document.manager = key WHERE uuid = $1 ";
const std::string kOfAppliance = "= (SELECT key FROM manager WHERE uuid = $1) ";
const std::string kChassisDocuments =
    "SELECT id, document, changed, number FROM chassis WHERE manager " + kOfAppliance;
const std::string kResourceDocuments =
    "SELECT path, document, changed, 0 FROM resource WHERE manager " + kOfAppliance;
const Sql kNextOfManager(kManagerDocuments + "LIMIT $2");
const Sql kNextOfChassis(kChassisDocuments + "AND number > $3 ORDER BY number LIMIT $2");
const Sql kNextOfResources(kResourceDocuments + "AND path >= $3 ORDER BY path LIMIT $2");
const Sql kOneOfManager(kManagerDocuments + "AND uuid = $2");
const Sql kOneOfChassis(kChassisDocuments + "AND id = $2");
const Sql kOneOfResources(kResourceDocuments + "AND path = $2");

const std::string kMember = "SELECT id, path, name FROM member WHERE manager " + kOfAppliance;
const Sql kMembers(kMember + "AND (path, name) >= ($2, $3) ORDER BY path, name LIMIT $4");
const Sql kMembersOfPath(kMember + "AND path = $2 AND name >= $3 ORDER BY name LIMIT $4");

using Kind = DocumentName::Kind;

const Sql& OneOf(Kind kind) {
  if (kind == Kind::kManager) return kOneOfManager;
  return kind == Kind::kChassis ? kOneOfChassis : kOneOfResources;
}

DocumentRecord ReadDocument(Kind kind, const Row& row) {
  return {{kind, row.Text(0)}, row.Text(1), row.Number(2), row.Number(3)};
}

}  // namespace

std::vector<DueAppliance> PostgresTransaction::ListDue(std::int64_t from, std::int64_t to,
                                                       const ListPage<DueAppliance>& page) {
  const std::int64_t time = page.after ? page.after->time : from + 1;
  const std::string uuid = page.after ? FirstText(page.after->uuid) : "";
  std::vector<DueAppliance> list;
  const Result result = Run(kDue, {time, uuid, to, page.limit});
  for (const Row row : result) list.push_back({row.Number(0), row.Text(1)});
  return list;
}

void PostgresTransaction::ListDocumentsOf(Kind kind, const std::string& manager,
                                          const ListPage<DocumentPlace>& page,
                                          std::vector<DocumentRecord>& documents) {
  const std::int64_t limit = page.limit - static_cast<std::int64_t>(documents.size());
  if (limit <= 0 || (page.after && page.after->kind > kind)) return;
  const bool inside = page.after && page.after->kind == kind;
  if (kind == Kind::kManager && inside) return;
  const auto take = [&](const Result& result) {
    for (const Row row : result) documents.push_back(ReadDocument(kind, row));
  };
  if (kind == Kind::kManager) return take(Run(kNextOfManager, {manager, limit}));
  if (kind == Kind::kChassis) {
    return take(
        Run(kNextOfChassis, {manager, limit, inside ? page.after->number : std::int64_t{0}}));
  }
  const std::string first = inside ? FirstText(page.after->path) : "";
  take(Run(kNextOfResources, {manager, limit, first}));
}

std::vector<DocumentRecord> PostgresTransaction::ListDocuments(
    const std::string& manager, const ListPage<DocumentPlace>& page) {
  std::vector<DocumentRecord> documents;
  for (const Kind kind : {Kind::kManager, Kind::kChassis, Kind::kResource}) {
    ListDocumentsOf(kind, manager, page, documents);
  }
  return documents;
}

std::optional<DocumentRecord> PostgresTransaction::FindDocument(const std::string& manager,
                                                                const DocumentName& name) {
  const Result result = Run(OneOf(name.kind), {manager, name.name});
  if (result.Empty()) return std::nullopt;
  return ReadDocument(name.kind, result.First());
}

std::vector<MemberRecord> PostgresTransaction::ListMembers(const std::string& manager,
                                                           const std::optional<std::string>& path,
                                                           const ListPage<MemberPlace>& page) {
  const std::string first = page.after ? FirstText(page.after->name) : "";
  const std::string from = path ? *path : page.after ? page.after->path : "";
  const Result result = Run(path ? kMembersOfPath : kMembers, {manager, from, first, page.limit});
  std::vector<MemberRecord> members;
  for (const Row row : result) members.push_back({row.Number(0), row.Text(1), row.Text(2)});
  return members;
}

}  // namespace cloudservice::postgresql
