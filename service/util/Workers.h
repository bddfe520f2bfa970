// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_WORKERS_H_
#define SERVICE_UTIL_WORKERS_H_

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "service/util/Log.h"

namespace cloudservice {

// Threads that run tasks in the order in which they were given. Any thread may call its operations.
class Workers {
 public:
  struct Settings {
    std::size_t threads = 1;
    std::size_t waiting = 1000;  // tasks that may wait for a thread
    int niceness = 0;            // added to the threads' own: they leave the processor to others
  };

  // Starts the threads. The log outlives this object. Throws std::system_error.
  Workers(const Settings& settings, const Log& log);
  // Runs the tasks that wait, and ends the threads.
  ~Workers();
  Workers(const Workers&) = delete;
  Workers& operator=(const Workers&) = delete;

  // False when as many tasks as may wait do so; the task is dropped then. An exception from a task
  // becomes a line in the log.
  bool Post(std::function<void()> task);

  std::size_t Waiting() const;

 private:
  void Run();
  void Stop();

  const Settings m_settings;
  const Log& m_log;
  mutable std::mutex m_mutex;
  std::condition_variable m_changed;
  std::deque<std::function<void()>> m_tasks;
  bool m_stopping = false;
  std::vector<std::thread> m_threads;
};

}  // namespace cloudservice

#endif  // SERVICE_UTIL_WORKERS_H_
