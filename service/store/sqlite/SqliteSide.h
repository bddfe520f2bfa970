// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SQLITE_SQLITESIDE_H_
#define SERVICE_STORE_SQLITE_SQLITESIDE_H_

#include <memory>
#include <string>
#include <vector>

#include "service/store/Lock.h"
#include "service/store/copy/Side.h"
#include "service/store/sqlite/Database.h"

namespace cloudservice {

// A database file as a side of a copy.
class SqliteSide : public CopySide {
 public:
  SqliteSide(const std::string& file, MissingFile missing);

  const std::string& Name() const override { return m_file; }
  std::string Identity() override;
  void BeginReading() override;
  void BeginWriting() override;
  std::int64_t Count(const CopiedTable& table) override;
  Rows Next(const CopiedTable& table, const std::string& place) override;
  Numbers LastNumbers() override;
  Notes Noted() override;
  // Every row keeps its numbers.
  void Arrange(const CopiedTable&, CopiedRow&) override {}
  void Put(const CopiedTable& table, const std::vector<CopiedRow>& rows,
           const Notes& notes) override;
  void Finish(const Numbers& source) override;

 private:
  void Put(const CopiedTable& table, const CopiedRow& row);

  const std::string m_file;
  Database m_database;
  std::unique_ptr<DatabaseLock> m_lock;
  // Writes nothing, and keeps others from writing.
  std::unique_ptr<DatabaseTransaction> m_reading;
};

}  // namespace cloudservice

#endif  // SERVICE_STORE_SQLITE_SQLITESIDE_H_
