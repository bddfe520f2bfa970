// SPDX-License-Identifier: Apache-2.0
// Threads that run tasks from a queue with a limit.
#include "service/util/Workers.h"

#include <sys/resource.h>

#include <exception>
#include <string>
#include <utility>

namespace cloudservice {

Workers::Workers(const Settings& settings, const Log& log) : m_settings(settings), m_log(log) {
  try {
    for (std::size_t i = 0; i < settings.threads; ++i) m_threads.emplace_back([this] { Run(); });
  } catch (...) {
    Stop();
    throw;
  }
}

Workers::~Workers() { Stop(); }

void Workers::Stop() {
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_stopping = true;
  }
  m_changed.notify_all();
  for (std::thread& thread : m_threads) thread.join();
  m_threads.clear();
}

bool Workers::Post(std::function<void()> task) {
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (m_tasks.size() >= m_settings.waiting) return false;
    m_tasks.push_back(std::move(task));
  }
  m_changed.notify_one();
  return true;
}

std::size_t Workers::Waiting() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return m_tasks.size();
}

void Workers::Run() {
  // On Linux 0 means the calling thread, not its process.
  if (m_settings.niceness != 0) {
    setpriority(PRIO_PROCESS, 0, getpriority(PRIO_PROCESS, 0) + m_settings.niceness);
  }
  std::unique_lock<std::mutex> lock(m_mutex);
  for (;;) {
    m_changed.wait(lock, [this] { return m_stopping || !m_tasks.empty(); });
    if (m_tasks.empty()) return;
    std::function<void()> task = std::move(m_tasks.front());
    m_tasks.pop_front();
    lock.unlock();
    try {
      task();
    } catch (const std::exception& error) {
      m_log.Line(std::string("error: a task is given up: ") + error.what());
    }
    // What the task holds ends here, not while the queue is locked.
    task = nullptr;
    lock.lock();
  }
}

}  // namespace cloudservice
