// SPDX-License-Identifier: Apache-2.0
// Units of work on a database file.
#include "service/store/sqlite/SqliteStore.h"

#include "service/store/sqlite/Schema.h"
#include "service/store/sqlite/SqliteTransaction.h"

namespace cloudservice {

namespace {

const Sql kAny("SELECT 1 FROM manager ORDER BY uuid LIMIT 1");

}  // namespace

SqliteStore::SqliteStore(const std::string& file, MissingFile missing)
    : m_database(file, missing), m_upgradeBackup(UpgradeSchema(m_database, file)) {}

void SqliteStore::Check() {
  if (m_database.ChangeFailed()) throw DatabaseError("the last change is not on the disk");
  Statement(m_database, kAny).Run();
}

void SqliteStore::RunRead(const Unit& work) {
  const auto transaction = Begin(DatabaseTransaction::Mode::kRead);
  // Without a Commit() nothing stays of what a reader should not have changed.
  work(*transaction);
}

void SqliteStore::RunWrite(const Unit& work) {
  const auto transaction = Begin(DatabaseTransaction::Mode::kWrite);
  work(*transaction);
  End(*transaction);
}

std::unique_ptr<SqliteTransaction> SqliteStore::Begin(DatabaseTransaction::Mode mode) {
  return std::make_unique<SqliteTransaction>(m_database, m_totals, mode);
}

void SqliteStore::End(SqliteTransaction& transaction) {
  transaction.Commit();
  for (const Change& change : transaction.Changes()) Tell(change);
}

std::unique_ptr<Store> OpenStore(const std::string& file, MissingFile missing) {
  return std::make_unique<SqliteStore>(file, missing);
}

}  // namespace cloudservice
