// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_POOL_H_
#define SERVICE_STORE_POSTGRESQL_POOL_H_

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "service/store/postgresql/Connection.h"

namespace cloudservice::postgresql {

// Connections to one database, made when they are needed and kept. Any thread may call its
// operations.
class Pool {
 public:
  struct Settings {
    std::size_t connections = 16;               // how many there are at most
    std::chrono::seconds patience{30};          // as Connection has it
    std::chrono::milliseconds wait{10 * 1000};  // for a connection that is free
  };

  Pool(std::string url, const Settings& settings);
  Pool(const Pool&) = delete;
  Pool& operator=(const Pool&) = delete;

  // A connection that its holder alone uses. It goes back to the pool with this object, unless it
  // is broken or inside a transaction; then another one takes its place. The pool outlives it.
  class Lease {
   public:
    Lease(Pool& pool, std::unique_ptr<Connection> connection);
    ~Lease();
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;

    Connection& operator*() const { return *m_connection; }
    Connection* operator->() const { return m_connection.get(); }

   private:
    Pool& m_pool;
    std::unique_ptr<Connection> m_connection;
  };

  // Takes a free connection, or makes one. Blocks until there is one. Throws ConnectionLost when
  // the server can't be reached, and DatabaseError when none becomes free in time.
  Lease Take();
  // How many wait for a connection.
  std::size_t Waiting() const;
  // Closes those that are free: after the server went away they are broken, too.
  void DropFree();

  // A connection of its own, which does not count among those of the pool.
  std::unique_ptr<Connection> Make() const;

 private:
  std::unique_ptr<Connection> FreeOrNone();
  void Put(std::unique_ptr<Connection> connection);

  const std::string m_url;
  const Settings m_settings;
  mutable std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<std::unique_ptr<Connection>> m_free;
  std::size_t m_taken = 0;
  std::size_t m_waiting = 0;
};

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_POOL_H_
