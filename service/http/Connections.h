// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_CONNECTIONS_H_
#define SERVICE_HTTP_CONNECTIONS_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include "service/http/Session.h"

namespace cloudservice {

// How many connections there may be at once: in all, and from one sender (SenderOf()).
struct ConnectionLimits {
  std::size_t all = 10000;
  std::size_t ofSender = 2000;
};

struct ConnectionCounts {
  std::size_t open = 0;
  std::uint64_t refused = 0;          // since there were too many
  std::uint64_t refusedOfSender = 0;  // since there were too many from one sender
};

// The open connections of a server. Any thread may call the operations.
class Connections {
 public:
  explicit Connections(const ConnectionLimits& limits) : m_limits(limits) {}

  // Adds a connection from `sender`; empty: from many, whose number has no limit of its own. False
  // when there are as many as there may be, or when Stop() was called: the caller drops it then.
  bool Add(const std::shared_ptr<Session>& session, const std::string& sender);
  // Called at the end of each connection, added or not.
  void Remove(Session* session);

  // Stops all connections; no more can be added. Calls `done` once when the last one has ended, on
  // the thread that ends it.
  void Stop(std::function<void()> done);

  ConnectionCounts Counts() const;

 private:
  struct Entry {
    std::weak_ptr<Session> session;
    std::string sender;
  };

  const ConnectionLimits m_limits;
  mutable std::mutex m_mutex;  // guards the members below
  std::unordered_map<Session*, Entry> m_entries;
  std::map<std::string, std::size_t> m_senders;  // how many connections each has; "": many's
  ConnectionCounts m_counts;                     // all but `open`
  std::function<void()> m_done;
  bool m_stopping = false;
};

}  // namespace cloudservice

#endif  // SERVICE_HTTP_CONNECTIONS_H_
