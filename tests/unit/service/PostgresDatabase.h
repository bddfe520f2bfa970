// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_POSTGRESDATABASE_H_
#define TESTS_UNIT_SERVICE_POSTGRESDATABASE_H_

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "service/store/postgresql/Connection.h"

namespace cloudservice::postgresql {

// An empty database of a test's own, removed with the object, on the server whose URL is in the
// file that the environment names: tests/harness/postgresql.py starts it.
class PostgresDatabase {
 public:
  // `options` stand behind the name of the new database: "ENCODING 'LATIN1' TEMPLATE template0".
  explicit PostgresDatabase(const std::string& options = "") : m_name(NextName()) {
    Server().Execute("CREATE DATABASE " + m_name + " " + options);
  }
  ~PostgresDatabase() {
    try {
      Server().Execute("DROP DATABASE IF EXISTS " + m_name + " WITH (FORCE)");
    } catch (const DatabaseError&) {
      // The server's end removes it.
    }
  }
  PostgresDatabase(const PostgresDatabase&) = delete;
  PostgresDatabase& operator=(const PostgresDatabase&) = delete;

  const std::string& Name() const { return m_name; }
  std::string Url() const {
    const std::string server = ServerUrl();
    const std::size_t name = server.find("///") + 3;
    return server.substr(0, name) + m_name + server.substr(server.find('?'));
  }

  // A connection for what a test does beside the store.
  Connection Connect() const { return Connection(Url(), kPatience); }
  static Connection Server() { return Connection(ServerUrl(), kPatience); }

 private:
  static constexpr std::chrono::seconds kPatience{60};

  static std::string ServerUrl() {
    const char* file = std::getenv("CLOUDSERVICE_POSTGRESQL");
    std::string url;
    if (file != nullptr) std::getline(std::ifstream(file), url);
    if (url.empty()) {
      throw std::runtime_error("no server: start this by ctest or by tests/harness/postgresql.py");
    }
    return url;
  }

  static std::string NextName() {
    static int count = 0;
    return "test_" + std::to_string(getpid()) + "_" + std::to_string(++count);
  }

  const std::string m_name;
};

}  // namespace cloudservice::postgresql

#endif  // TESTS_UNIT_SERVICE_POSTGRESDATABASE_H_
