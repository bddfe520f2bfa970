// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SQLITE_SQLITESTORE_H_
#define SERVICE_STORE_SQLITE_SQLITESTORE_H_

#include <cstdint>
#include <memory>
#include <string>

#include "service/store/Store.h"
#include "service/store/sqlite/Database.h"
#include "service/store/sqlite/TotalsCache.h"

namespace cloudservice {

class SqliteTransaction;

// A store in one file. One connection, one thread.
class SqliteStore : public Store {
 public:
  // Opens the file, as OpenStore() does.
  explicit SqliteStore(const std::string& file, MissingFile missing = MissingFile::kCreate);

  std::int64_t DataVersion() override { return m_database.DataVersion(); }
  void Check() override;
  const std::string& UpgradeBackup() const override { return m_upgradeBackup; }

 protected:
  void RunRead(const Unit& work) override;
  void RunWrite(const Unit& work) override;
  // Begin() starts a unit of work. End() commits it and tells the listener its changes.
  std::unique_ptr<SqliteTransaction> Begin(DatabaseTransaction::Mode mode);
  void End(SqliteTransaction& transaction);

 private:
  Database m_database;
  const std::string m_upgradeBackup;
  TotalsCache m_totals;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_SQLITE_SQLITESTORE_H_
