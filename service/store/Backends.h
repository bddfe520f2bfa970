// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_BACKENDS_H_
#define SERVICE_STORE_BACKENDS_H_

#include <memory>
#include <string>

#include "service/store/Store.h"
#include "service/store/copy/Side.h"

namespace cloudservice {

// Whether the name of a database is the URL of one on a PostgreSQL server: "postgresql://..." or
// "postgres://...". All others are names of files.
bool IsPostgresUrl(const std::string& database);

// What OpenStore() chooses from: a store in a file, and one on a server.
std::unique_ptr<Store> OpenSqlite(const std::string& file, MissingFile missing);
std::unique_ptr<Store> OpenPostgres(const std::string& url);

// The same for OpenCopySide().
std::unique_ptr<CopySide> OpenSqliteSide(const std::string& file, MissingFile missing);
std::unique_ptr<CopySide> OpenPostgresSide(const std::string& url);

}  // namespace cloudservice

#endif  // SERVICE_STORE_BACKENDS_H_
