// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_CHANGEWATCH_H_
#define SERVICE_STORE_POSTGRESQL_CHANGEWATCH_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

#include "service/store/postgresql/Connection.h"

namespace cloudservice::postgresql {

// Tells this process that the table of changes has new ones that can be listed, by whomever they
// are: one of its own cannot be listed while an older transaction is under way. Tells others that
// this process has changed something. It has a thread and a connection of its own. A notification
// only says that there may be changes, and when one is lost with the connection, the next look
// finds them.
class ChangeWatch {
 public:
  using Teller = std::function<void()>;

  // Makes another connection after the first one was lost.
  using Connect = std::function<std::unique_ptr<Connection>()>;

  // `connect` and `teller` are called on the thread of this object.
  ChangeWatch(std::unique_ptr<Connection> first, Connect connect, Teller teller);
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
  // Tells when there is something new. True when there are changes that can't be listed yet.
  bool Look(Connection& connection);
  void Wake();

  const Connect m_connect;
  const Teller m_teller;
  const int m_waker;  // an event descriptor
  std::atomic<bool> m_stopping = false;
  std::atomic<bool> m_changed = false;
  std::unique_ptr<Connection> m_first;  // until the thread takes it
  bool m_listening = false;             // before the connection was lost
  std::int64_t m_last = 0;              // the last change that was told
  std::thread m_thread;
};

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_CHANGEWATCH_H_
