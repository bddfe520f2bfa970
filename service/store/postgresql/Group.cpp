// SPDX-License-Identifier: Apache-2.0
// Units of work that share a transaction.
#include "service/store/postgresql/Group.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace cloudservice::postgresql {

Group::Group(const Settings& settings, std::function<void(Orders& orders)> run)
    : m_settings(settings), m_run(std::move(run)) {
  try {
    for (std::size_t i = 0; i < settings.threads; ++i) m_threads.emplace_back([this] { Run(); });
  } catch (...) {
    Stop();
    throw;
  }
}

Group::~Group() { Stop(); }

void Group::Stop() {
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_stopping = true;
  }
  m_changed.notify_all();
  for (std::thread& thread : m_threads) thread.join();
}

bool Group::Add(Order order) {
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (m_orders.size() >= m_settings.waiting) return false;
    m_orders.push_back(std::move(order));
    // The thread that was woken for the first takes the others along.
    if (m_orders.size() > 1) return true;
  }
  m_changed.notify_one();
  return true;
}

std::size_t Group::Waiting() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return m_orders.size();
}

Group::Orders Group::Taken() {
  const auto count = std::min(m_orders.size(), m_settings.together);
  const auto end = m_orders.begin() + static_cast<std::ptrdiff_t>(count);
  Orders taken(std::make_move_iterator(m_orders.begin()), std::make_move_iterator(end));
  m_orders.erase(m_orders.begin(), end);
  return taken;
}

void Group::Run() {
  std::unique_lock<std::mutex> lock(m_mutex);
  for (;;) {
    m_changed.wait(lock, [this] { return m_stopping || !m_orders.empty(); });
    if (m_orders.empty()) return;
    Orders orders = Taken();
    if (!m_orders.empty()) m_changed.notify_one();
    lock.unlock();
    m_run(orders);
    orders.clear();
    lock.lock();
  }
}

}  // namespace cloudservice::postgresql
