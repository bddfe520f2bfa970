// SPDX-License-Identifier: Apache-2.0
// What several processes share: changes, sessions, failed tries.
#include "service/store/postgresql/PostgresTransaction.h"

namespace cloudservice::postgresql {

namespace {

// 20 bits are for the place in the transaction: a unit of work has less than a million changes.
const Sql kAddChanges(
    "INSERT INTO change (id, what, manager, event, kind, name, time) "
    "SELECT (pg_current_xact_id()::text::bigint << 20) + place, what, manager, event, kind, "
    "name, extract(epoch FROM now())::bigint "
    "FROM unnest((SELECT $1::smallint[]), (SELECT $2::text[]), (SELECT $3::bigint[]), (SELECT "
    "$4::smallint[]), (SELECT $5::text[])) "
    "WITH ORDINALITY AS one (what, manager, event, kind, name, place)");
const Sql kNextChanges(
    "SELECT id, what, manager, event, kind, name, time FROM change "
    "WHERE id > $1 AND id < change_horizon() ORDER BY id LIMIT $2");
const Sql kLastChange("SELECT coalesce(max(id), 0) FROM change WHERE id < change_horizon()");
// The last one stays. Those that are later than it came before the clock was set back.
const Sql kDropChanges(
    "DELETE FROM change WHERE id IN (SELECT id FROM (SELECT id, time FROM change "
    "WHERE id < (SELECT max(id) FROM change) ORDER BY id LIMIT $2) AS first "
    "WHERE time < $1 OR time > (SELECT time FROM change ORDER BY id DESC LIMIT 1))");

const Sql kAddSession("INSERT INTO session (hash, operator, used) VALUES ($1, $2, $3)");
const Sql kDropSession(
    "DELETE FROM session WHERE hash = (SELECT hash FROM session ORDER BY used LIMIT 1) "
    "AND (SELECT count(*) FROM session) > $1");
const Sql kSession("SELECT operator, used FROM session WHERE hash = $1");
const Sql kUseSession("UPDATE session SET used = $2 WHERE hash = $1");
const Sql kEndSession("DELETE FROM session WHERE hash = $1");

const Sql kFailures("SELECT whole FROM failure WHERE sender = $1");
const Sql kAddFailure(
    "INSERT INTO failure (sender, whole) VALUES ($1, $2::bigint + $3) ON CONFLICT (sender) "
    "DO UPDATE SET whole = CASE WHEN failure.whole BETWEEN $2 AND $2 + 86400 THEN failure.whole "
    "ELSE $2 END + $3 RETURNING whole");
const Sql kDropFailure(
    "DELETE FROM failure WHERE sender = (SELECT sender FROM failure ORDER BY whole LIMIT 1) "
    "AND (SELECT count(*) FROM failure) > $1");

template <typename T>
void Add(std::vector<std::int64_t>& numbers, const T& value) {
  numbers.push_back(static_cast<std::int64_t>(value));
}

}  // namespace

void PostgresTransaction::KeepChanges() {
  if (m_changes.empty()) return;
  std::vector<std::int64_t> whats;
  std::vector<std::string> managers;
  std::vector<std::int64_t> events;
  std::vector<std::int64_t> kinds;
  std::vector<std::string> names;
  for (const Change& change : m_changes) {
    Add(whats, change.what);
    managers.push_back(change.manager);
    Add(events, change.number);
    Add(kinds, change.document.kind);
    names.push_back(change.document.name);
  }
  Defer(kAddChanges, {whats, managers, events, kinds, names});
}

std::vector<ChangeRecord> PostgresTransaction::ListChanges(const ListPage<std::int64_t>& page) {
  std::vector<ChangeRecord> changes;
  const Result result = Run(kNextChanges, {page.after.value_or(0), page.limit});
  for (const Row row : result) {
    const DocumentName document = {static_cast<DocumentName::Kind>(row.Number(4)), row.Text(5)};
    changes.push_back(
        {row.Number(0),
         {static_cast<Change::What>(row.Number(1)), row.Text(2), row.Number(3), document},
         row.Number(6)});
  }
  return changes;
}

std::int64_t PostgresTransaction::LastChange() { return Run(kLastChange).First().Number(0); }

bool PostgresTransaction::RemoveChanges(std::int64_t before, std::int64_t most) {
  return Run(kDropChanges, {before, most}).Changed() == most;
}

void PostgresTransaction::AddSession(const std::string& hash, std::int64_t person, std::int64_t now,
                                     std::int64_t most) {
  Run(kAddSession, {hash, person, now});
  Run(kDropSession, {most});
}

std::optional<SessionRecord> PostgresTransaction::FindSession(const std::string& hash) {
  const Result result = Run(kSession, {hash});
  if (result.Empty()) return std::nullopt;
  return SessionRecord{result.First().Number(0), result.First().Number(1)};
}

void PostgresTransaction::UseSession(const std::string& hash, std::int64_t now) {
  Run(kUseSession, {hash, now});
}

void PostgresTransaction::EndSession(const std::string& hash) { Run(kEndSession, {hash}); }

std::int64_t PostgresTransaction::FindFailures(const std::string& sender) {
  const Result result = Run(kFailures, {sender});
  return result.Empty() ? 0 : result.First().Number(0);
}

std::int64_t PostgresTransaction::AddFailure(const std::string& sender, std::int64_t now,
                                             std::int64_t seconds, std::int64_t most) {
  const std::int64_t whole = Run(kAddFailure, {sender, now, seconds}).First().Number(0);
  Run(kDropFailure, {most});
  return whole;
}

}  // namespace cloudservice::postgresql
