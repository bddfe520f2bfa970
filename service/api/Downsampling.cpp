// SPDX-License-Identifier: Apache-2.0
// Reducing the samples of a chart.
#include "service/api/Downsampling.h"

namespace cloudservice {

Downsampling::Downsampling(std::int64_t since, std::int64_t until, std::size_t most)
    : m_since(since), m_length(until - since), m_most(most), m_parts(most / 2) {}

void Downsampling::Add(const Sample& sample) {
  const auto take = [&](std::optional<Sample>& low, std::optional<Sample>& high) {
    if (!low || sample.value < low->value) low = sample;
    if (!high || sample.value > high->value) high = sample;
  };
  take(m_lowest, m_highest);
  // Computed in floating point, since the product may exceed an integer.
  const double at = static_cast<double>(sample.time - m_since) / static_cast<double>(m_length);
  const auto part = static_cast<std::size_t>(at * static_cast<double>(m_parts.size()));
  take(m_parts.at(part).low, m_parts.at(part).high);
  if (m_tooMany) return;
  m_all.push_back(sample);
  m_tooMany = m_all.size() > m_most;
  if (m_tooMany) std::vector<Sample>().swap(m_all);
}

std::vector<Sample> Downsampling::Samples() const {
  if (!m_tooMany) return m_all;
  std::vector<Sample> kept;
  for (const Part& part : m_parts) {
    if (!part.low) continue;
    const bool lowFirst = part.low->time <= part.high->time;
    const Sample& first = lowFirst ? *part.low : *part.high;
    const Sample& second = lowFirst ? *part.high : *part.low;
    kept.push_back(first);
    if (second.time != first.time || second.value != first.value) kept.push_back(second);
  }
  return kept;
}

}  // namespace cloudservice
