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

// Takes the samples of a stretch of time in order, and keeps few of them: all where they are few
// enough, else the lowest and the highest of each part of the stretch. The lowest and the highest
// of all are thus always among them.
class Downsampling {
 public:
  // Keeps at most `most`, which is 2 or more, of samples from `since` to before `until`.
  Downsampling(std::int64_t since, std::int64_t until, std::size_t most);

  void Add(const Sample& sample);

  // In the order of time.
  std::vector<Sample> Samples() const;
  // The first of the lowest; none when there is no sample.
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
