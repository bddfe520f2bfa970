// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_POSTGRESQL_GROUP_H_
#define SERVICE_STORE_POSTGRESQL_GROUP_H_

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "service/store/Store.h"

namespace cloudservice::postgresql {

// Units of work for which nobody waits. Threads take those that have come meanwhile, so that the
// more there are, the more share a transaction. Any thread may call its operations.
class Group {
 public:
  struct Order {
    Store::Unit work;
    Store::Finish finish;
  };
  using Orders = std::vector<Order>;
  struct Settings {
    std::size_t threads = 2;     // while one waits for the disk, the other works
    std::size_t together = 64;   // orders that are taken at once at most
    std::size_t waiting = 4096;  // orders that wait at most
  };

  // `run` is called on the threads of this object; it finishes each of the orders, and must not
  // throw.
  Group(const Settings& settings, std::function<void(Orders& orders)> run);
  // Runs those that wait.
  ~Group();
  Group(const Group&) = delete;
  Group& operator=(const Group&) = delete;

  // False when as many wait as may.
  bool Add(Order order);
  std::size_t Waiting() const;

 private:
  void Run();
  // Those that came first. The mutex is locked.
  Orders Taken();
  void Stop();

  const Settings m_settings;
  const std::function<void(Orders& orders)> m_run;
  mutable std::mutex m_mutex;
  std::condition_variable m_changed;
  Orders m_orders;
  bool m_stopping = false;
  std::vector<std::thread> m_threads;
};

}  // namespace cloudservice::postgresql

#endif  // SERVICE_STORE_POSTGRESQL_GROUP_H_
