// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_FLEET_SCHEDULE_H_
#define BENCH_FLEET_SCHEDULE_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace fleet {

// When requests are due in an open loop: whatever the answers do, the next one is due at its time.
// Each series has a rate of its own, and its requests are equally far apart. No series begins
// together with another.
class Schedule {
 public:
  struct Due {
    std::chrono::nanoseconds at{0};  // from the start
    std::size_t series = 0;          // position of its rate
    std::int64_t turn = 0;           // counts the requests of the series, from 0
  };

  // The requests a second of each series; one with 0 has none.
  explicit Schedule(const std::vector<double>& rates);

  // The request that is due next, in the order of time; none when every rate is 0.
  std::optional<Due> Next();

 private:
  std::vector<double> m_rates;
  std::vector<Due> m_next;  // of each series that has requests
};

}  // namespace fleet

#endif  // BENCH_FLEET_SCHEDULE_H_
