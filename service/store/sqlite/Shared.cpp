// SPDX-License-Identifier: Apache-2.0
// What several processes share: changes, sessions, failed tries.
#include <utility>

#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const Sql kAddChange(
    "INSERT INTO change (what, manager, event, kind, name) VALUES (?, ?, ?, ?, ?)");
const Sql kChangesBehind(
    "SELECT id, what, manager, event, kind, name, time FROM change WHERE id > ? "
    "ORDER BY id LIMIT ?");
const Sql kLastChange("SELECT id FROM change ORDER BY id DESC LIMIT 1");
// The last one stays. Those that are later than it came before the clock was set back.
const Sql kDropChanges(
    "DELETE FROM change WHERE id IN (SELECT id FROM (SELECT id, time FROM change "
    "WHERE id < (SELECT max(id) FROM change) ORDER BY id LIMIT ?2) "
    "WHERE time < ?1 OR time > (SELECT time FROM change ORDER BY id DESC LIMIT 1))");

const Sql kAddSession("INSERT INTO session (hash, operator, used) VALUES (?, ?, ?)");
const Sql kDropSession(
    "DELETE FROM session WHERE hash = (SELECT hash FROM session ORDER BY used LIMIT 1) "
    "AND (SELECT count(*) FROM session) > ?");
const Sql kSession("SELECT operator, used FROM session WHERE hash = ?");
const Sql kUseSession("UPDATE session SET used = ? WHERE hash = ?");
const Sql kEndSession("DELETE FROM session WHERE hash = ?");

const Sql kFailures("SELECT whole FROM failure WHERE sender = ?");
const Sql kAddFailure(
    "INSERT INTO failure (sender, whole) VALUES (?1, ?2 + ?3) ON CONFLICT (sender) "
    "DO UPDATE SET whole = CASE WHEN whole BETWEEN ?2 AND ?2 + 86400 THEN whole ELSE ?2 END + ?3 "
    "RETURNING whole");
const Sql kDropFailure(
    "DELETE FROM failure WHERE sender = (SELECT sender FROM failure ORDER BY whole LIMIT 1) "
    "AND (SELECT count(*) FROM failure) > ?");

}  // namespace

void SqliteTransaction::Note(const Change& change) {
  Statement(m_database, kAddChange)
      .Bind(static_cast<std::int64_t>(change.what))
      .Bind(change.manager)
      .Bind(change.number)
      .Bind(static_cast<std::int64_t>(change.document.kind))
      .Bind(change.document.name)
      .Run();
  m_changed = true;
}

std::vector<ChangeRecord> SqliteTransaction::ListChanges(const ListPage<std::int64_t>& page) {
  Statement select(m_database, kChangesBehind);
  select.Bind(page.after.value_or(0)).Bind(page.limit);
  std::vector<ChangeRecord> changes;
  while (select.Step()) {
    const DocumentName document = {static_cast<DocumentName::Kind>(select.Number(4)),
                                   select.Text(5)};
    changes.push_back(
        {select.Number(0),
         {static_cast<Change::What>(select.Number(1)), select.Text(2), select.Number(3), document},
         select.Number(6)});
  }
  return changes;
}

std::int64_t SqliteTransaction::LastChange() {
  Statement select(m_database, kLastChange);
  return select.Step() ? select.Number(0) : 0;
}

bool SqliteTransaction::RemoveChanges(std::int64_t before, std::int64_t most) {
  Statement(m_database, kDropChanges).Bind(before).Bind(most).Run();
  return m_database.Changes() == most;
}

void SqliteTransaction::AddSession(const std::string& hash, std::int64_t person, std::int64_t now,
                                   std::int64_t most) {
  Statement(m_database, kAddSession).Bind(hash).Bind(person).Bind(now).Run();
  Statement(m_database, kDropSession).Bind(most).Run();
}

std::optional<SessionRecord> SqliteTransaction::FindSession(const std::string& hash) {
  Statement select(m_database, kSession);
  select.Bind(hash);
  if (!select.Step()) return std::nullopt;
  return SessionRecord{select.Number(0), select.Number(1)};
}

void SqliteTransaction::UseSession(const std::string& hash, std::int64_t now) {
  Statement(m_database, kUseSession).Bind(now).Bind(hash).Run();
}

void SqliteTransaction::EndSession(const std::string& hash) {
  Statement(m_database, kEndSession).Bind(hash).Run();
}

std::int64_t SqliteTransaction::FindFailures(const std::string& sender) {
  Statement select(m_database, kFailures);
  select.Bind(sender);
  return select.Step() ? select.Number(0) : 0;
}

std::int64_t SqliteTransaction::AddFailure(const std::string& sender, std::int64_t now,
                                           std::int64_t seconds, std::int64_t most) {
  std::int64_t whole = 0;
  {
    Statement add(m_database, kAddFailure);
    add.Bind(sender).Bind(now).Bind(seconds);
    if (add.Step()) whole = add.Number(0);
    add.Run();
  }
  Statement(m_database, kDropFailure).Bind(most).Run();
  return whole;
}

}  // namespace cloudservice
