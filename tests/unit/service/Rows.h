// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_ROWS_H_
#define TESTS_UNIT_SERVICE_ROWS_H_

#include <sqlite3.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "service/store/sqlite/Database.h"

namespace cloudservice {

// The texts in one column of what a statement of a test's own finds; those that are null are empty.
inline std::vector<std::string> Rows(Database& database, const std::string& sql, int column = 0) {
  std::vector<std::string> rows;
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database.Handle(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    ADD_FAILURE() << sqlite3_errmsg(database.Handle()) << ": " << sql;
  }
  while (statement != nullptr && sqlite3_step(statement) == SQLITE_ROW) {
    const unsigned char* text = sqlite3_column_text(statement, column);
    rows.emplace_back(text == nullptr ? "" : reinterpret_cast<const char*>(text));
  }
  sqlite3_finalize(statement);
  return rows;
}

// The number that a statement finds.
inline std::int64_t Number(Database& database, const std::string& sql) {
  const std::vector<std::string> rows = Rows(database, sql);
  return rows.size() == 1 ? std::stoll(rows[0]) : -1;
}

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_ROWS_H_
