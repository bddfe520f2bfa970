// SPDX-License-Identifier: Apache-2.0
// The connections that units of work share.
#include "service/store/postgresql/Pool.h"

#include <utility>

namespace cloudservice::postgresql {

Pool::Lease::Lease(Pool& pool, std::unique_ptr<Connection> connection)
    : m_pool(pool), m_connection(std::move(connection)) {}

Pool::Lease::~Lease() { m_pool.Put(std::move(m_connection)); }

Pool::Pool(std::string url, const Settings& settings)
    : m_url(std::move(url)), m_settings(settings) {}

Pool::Lease Pool::Take() {
  std::unique_ptr<Connection> connection = FreeOrNone();
  if (connection != nullptr) return {*this, std::move(connection)};
  try {
    return {*this, Make()};
  } catch (...) {
    Put(nullptr);
    throw;
  }
}

std::unique_ptr<Connection> Pool::FreeOrNone() {
  std::unique_lock<std::mutex> guard(m_mutex);
  ++m_waiting;
  const bool free = m_changed.wait_for(guard, m_settings.wait,
                                       [this] { return m_taken < m_settings.connections; });
  --m_waiting;
  if (!free) {
    throw DatabaseError("all " + std::to_string(m_settings.connections) +
                        " connections to the database are in use");
  }
  ++m_taken;
  if (m_free.empty()) return nullptr;
  // The one that was used last: the server has more of it in its caches.
  std::unique_ptr<Connection> connection = std::move(m_free.back());
  m_free.pop_back();
  return connection;
}

void Pool::Put(std::unique_ptr<Connection> connection) {
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    --m_taken;
    if (connection != nullptr && connection->IsIdle()) m_free.push_back(std::move(connection));
  }
  m_changed.notify_one();
}

std::size_t Pool::Waiting() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return m_waiting;
}

void Pool::DropFree() {
  std::vector<std::unique_ptr<Connection>> dropped;
  const std::lock_guard<std::mutex> guard(m_mutex);
  dropped.swap(m_free);
}

std::unique_ptr<Connection> Pool::Make() const {
  return std::make_unique<Connection>(m_url, m_settings.patience);
}

}  // namespace cloudservice::postgresql
