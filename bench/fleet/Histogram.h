// SPDX-License-Identifier: Apache-2.0
#ifndef BENCH_FLEET_HISTOGRAM_H_
#define BENCH_FLEET_HISTOGRAM_H_

#include <cstdint>
#include <vector>

namespace fleet {

// Counts durations in microseconds. Each one is counted, none is sampled; a bucket is at most 1/128
// of its values wide, and values below 256 have a bucket each. Its size does not depend on how many
// were counted. One thread.
class Histogram {
 public:
  Histogram();

  // A negative duration counts as 0, and one of more than twelve days as twelve days.
  void Add(std::int64_t microseconds);
  void Add(const Histogram& other);

  std::int64_t Count() const { return m_count; }
  std::int64_t Max() const { return m_max; }  // exact; 0 when nothing was counted
  double Mean() const;                        // exact; 0 when nothing was counted
  // The least value that this part of all values, from 0 to 1, does not exceed: the upper end of
  // its bucket, and never more than Max(). 0 when nothing was counted.
  std::int64_t Quantile(double part) const;

 private:
  std::vector<std::int64_t> m_buckets;
  std::int64_t m_count = 0;
  std::int64_t m_max = 0;
  double m_sum = 0;
};

}  // namespace fleet

#endif  // BENCH_FLEET_HISTOGRAM_H_
