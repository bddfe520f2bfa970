// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_STORETEST_H_
#define TESTS_UNIT_SERVICE_STORETEST_H_

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "Rows.h"
#include "TempFolder.h"
#include "TestStore.h"
#include "service/store/Store.h"

namespace cloudservice {

// A folder with room for a database.
class StoreTest : public testing::Test {
 protected:
  std::string OpeningFails(const std::string& name) {
    try {
      TestStore store(name);
    } catch (const DatabaseError& error) {
      return error.what();
    }
    ADD_FAILURE() << name << " was opened";
    return "";
  }
  static std::int64_t Count(Database& database, const std::string& table) {
    return Number(database, "SELECT count(*) FROM " + table);
  }

  TempFolder folder;
  const std::string file = folder.File("s.db");
};

// What holds of a store in a file alone.
class SqliteStoreTest : public StoreTest {};

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_STORETEST_H_
