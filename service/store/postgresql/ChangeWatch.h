// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_CHANGEWATCH_H_
#define SERVICE_STORE_POSTGRESQL_CHANGEWATCH_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "service/store/Records.h"
#include "service/store/postgresql/Connection.h"
#include "service/store/postgresql/Pool.h"

namespace cloudservice::postgresql {

// Tells this process the changes that others make to the database, in the order of their
// transactions, and others that this one has changed something. It has a thread and a connection of
// its own. Changes are read from a table: a notification only says that there are some, and when
// one is lost with the connection, the next look finds them.
class ChangeWatch {
 public:
  using Teller = std::function<void(const Change& change)>;

  // `teller` is called on the thread of this object, with changes of other origins than `origin`.
  ChangeWatch(const Pool& pool, std::int64_t origin, Teller teller);
  ~ChangeWatch();
  ChangeWatch(const ChangeWatch&) = delete;
  ChangeWatch& operator=(const ChangeWatch&) = delete;

  // After a commit with changes. Does not block: many commits make one notification, which needs no
  // disk. Inside the transactions of heartbeats it made them 2.4 times slower, since the server
  // puts notifications in order by letting commits wait for each other.
  void TellOthers();

 private:
  void Run();
  void Watch();
  // Tells what is new. True when there are changes that can't be told yet.
  bool Look(Connection& connection);
  void Wake();

  const Pool& m_pool;
  const std::int64_t m_origin;
  const Teller m_teller;
  const int m_waker;  // an event descriptor
  std::atomic<bool> m_stopping = false;
  std::atomic<bool> m_changed = false;
  bool m_listening = false;            // before the connection was lost
  std::optional<std::int64_t> m_last;  // the last change that was looked at
  std::thread m_thread;
};

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_CHANGEWATCH_H_
