// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_DOWNSAMPLING_H_
#define SERVICE_API_DOWNSAMPLING_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace cloudservice {

struct Sample {
  std::int64_t time = 0;
  double value = 0;
};

// Reduces the samples of a span of time, which are added in the order of time. Keeps all of them
// when they are few enough, else the lowest and the highest of each part of the span. The lowest
// and the highest of all samples are therefore always kept.
class Downsampling {
 public:
  // Keeps at most `most` samples, which is 2 or more. The span reaches from the time `since`, in
  // seconds, to before `until`.
  Downsampling(std::int64_t since, std::int64_t until, std::size_t most);

  void Add(const Sample& sample);

  // The kept samples in the order of time.
  std::vector<Sample> Samples() const;
  // The lowest and the highest sample, the first one of equals; none when there is no sample.
  const std::optional<Sample>& Lowest() const { return m_lowest; }
  const std::optional<Sample>& Highest() const { return m_highest; }

 private:
  struct Part {
    std::optional<Sample> low;
    std::optional<Sample> high;
  };

  const std::int64_t m_since;
  const std::int64_t m_length;
  const std::size_t m_most;
  std::vector<Sample> m_all;  // until there are too many
  bool m_tooMany = false;
  std::vector<Part> m_parts;
  std::optional<Sample> m_lowest;
  std::optional<Sample> m_highest;
};

}  // namespace cloudservice

#endif  // SERVICE_API_DOWNSAMPLING_H_
