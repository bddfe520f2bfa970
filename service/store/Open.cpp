// SPDX-License-Identifier: Apache-2.0
// Which back end keeps a database.
#include "service/store/Backends.h"

namespace cloudservice {

bool IsPostgresUrl(const std::string& database) {
  return database.rfind("postgresql://", 0) == 0 || database.rfind("postgres://", 0) == 0;
}

std::unique_ptr<Store> OpenStore(const std::string& database, MissingFile missing) {
  return IsPostgresUrl(database) ? OpenPostgres(database) : OpenSqlite(database, missing);
}

std::unique_ptr<CopySide> OpenCopySide(const std::string& database, MissingFile missing) {
  return IsPostgresUrl(database) ? OpenPostgresSide(database) : OpenSqliteSide(database, missing);
}

}  // namespace cloudservice
