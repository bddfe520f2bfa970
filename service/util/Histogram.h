// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_HISTOGRAM_H_
#define SERVICE_UTIL_HISTOGRAM_H_

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace cloudservice {

// How many times were how long. Any thread may call the operations; they take no lock.
class Histogram {
 public:
  // A time counts in the first of these that is not shorter, or in the one behind the last.
  static constexpr std::array<std::chrono::microseconds, 12> kBounds = {
      std::chrono::microseconds(500),     std::chrono::microseconds(1000),
      std::chrono::microseconds(2000),    std::chrono::microseconds(5000),
      std::chrono::microseconds(10000),   std::chrono::microseconds(20000),
      std::chrono::microseconds(50000),   std::chrono::microseconds(100000),
      std::chrono::microseconds(200000),  std::chrono::microseconds(500000),
      std::chrono::microseconds(1000000), std::chrono::microseconds(5000000)};

  void Observe(std::chrono::nanoseconds time) {
    std::size_t bucket = 0;
    while (bucket < kBounds.size() && time > kBounds.at(bucket)) ++bucket;
    m_counts.at(bucket).fetch_add(1, std::memory_order_relaxed);
    m_sum.fetch_add(time.count(), std::memory_order_relaxed);
  }

  struct Values {
    std::array<std::uint64_t, kBounds.size() + 1> counts = {};
    std::chrono::nanoseconds sum{0};
  };
  // Of what is observed meanwhile a part may be in it.
  Values Now() const {
    Values values;
    for (std::size_t i = 0; i < values.counts.size(); ++i) values.counts.at(i) = m_counts.at(i);
    values.sum = std::chrono::nanoseconds(m_sum);
    return values;
  }

 private:
  std::array<std::atomic<std::uint64_t>, kBounds.size() + 1> m_counts{};
  std::atomic<std::int64_t> m_sum{0};
};

// Observes how long it exists.
class Stopwatch {
 public:
  explicit Stopwatch(Histogram& histogram) : m_histogram(histogram) {}
  ~Stopwatch() { m_histogram.Observe(std::chrono::steady_clock::now() - m_start); }
  Stopwatch(const Stopwatch&) = delete;
  Stopwatch& operator=(const Stopwatch&) = delete;

 private:
  Histogram& m_histogram;
  const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

}  // namespace cloudservice

#endif  // SERVICE_UTIL_HISTOGRAM_H_
