// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_BUDGET_H_
#define SERVICE_UTIL_BUDGET_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

namespace cloudservice {

// A number of bytes that many share. Any thread may call the operations.
class Budget {
 public:
  explicit Budget(std::size_t limit) : m_limit(limit) {}

  // False, and takes nothing, when fewer are left.
  bool Take(std::size_t bytes) {
    const std::lock_guard<std::mutex> guard(m_mutex);
    if (bytes > m_limit - m_taken) {
      ++m_refused;
      return false;
    }
    m_taken += bytes;
    return true;
  }
  void Give(std::size_t bytes) {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_taken -= bytes;
  }
  // How often there was too little left.
  std::uint64_t Refused() const {
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_refused;
  }
  std::size_t Taken() const {
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_taken;
  }

 private:
  const std::size_t m_limit;
  mutable std::mutex m_mutex;
  std::size_t m_taken = 0;
  std::uint64_t m_refused = 0;
};

// What one has taken of a budget; its destructor gives it back. One thread.
class Share {
 public:
  explicit Share(std::shared_ptr<Budget> budget) : m_budget(std::move(budget)) {}
  ~Share() { Reset(); }
  Share(const Share&) = delete;
  Share& operator=(const Share&) = delete;

  // As Budget::Take().
  bool Take(std::size_t bytes) {
    if (!m_budget->Take(bytes)) return false;
    m_bytes += bytes;
    return true;
  }
  void Reset() {
    if (m_bytes > 0) m_budget->Give(std::exchange(m_bytes, 0));
  }

 private:
  const std::shared_ptr<Budget> m_budget;
  std::size_t m_bytes = 0;
};

}  // namespace cloudservice

#endif  // SERVICE_UTIL_BUDGET_H_
