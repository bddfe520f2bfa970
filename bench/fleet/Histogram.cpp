// SPDX-License-Identifier: Apache-2.0
// Durations in buckets that grow with their values.
#include "Histogram.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace fleet {

namespace {

// Values of one power of two share this many buckets.
constexpr int kBits = 7;
constexpr std::int64_t kHalf = std::int64_t{1} << kBits;
constexpr int kMaxBits = 40;
constexpr std::int64_t kLargest = (std::int64_t{1} << kMaxBits) - 1;

// How far the value is shifted so that its first kBits + 1 bits are left.
int ShiftOf(std::int64_t value) {
  int shift = 0;
  while ((value >> shift) >= 2 * kHalf) ++shift;
  return shift;
}

std::size_t BucketOf(std::int64_t value) {
  const int shift = ShiftOf(value);
  return static_cast<std::size_t>(shift * kHalf + (value >> shift));
}

// The greatest value in the bucket.
std::int64_t UpperEnd(std::size_t bucket) {
  const auto number = static_cast<std::int64_t>(bucket);
  if (number < 2 * kHalf) return number;
  const std::int64_t shift = number / kHalf - 1;
  return ((number - shift * kHalf + 1) << shift) - 1;
}

}  // namespace

Histogram::Histogram() : m_buckets(BucketOf(kLargest) + 1) {}

void Histogram::Add(std::int64_t microseconds) {
  const std::int64_t value = std::clamp<std::int64_t>(microseconds, 0, kLargest);
  ++m_buckets[BucketOf(value)];
  ++m_count;
  m_max = std::max(m_max, value);
  m_sum += static_cast<double>(value);
}

void Histogram::Add(const Histogram& other) {
  for (std::size_t i = 0; i < m_buckets.size(); ++i) m_buckets[i] += other.m_buckets[i];
  m_count += other.m_count;
  m_max = std::max(m_max, other.m_max);
  m_sum += other.m_sum;
}

double Histogram::Mean() const { return m_count == 0 ? 0 : m_sum / static_cast<double>(m_count); }

std::int64_t Histogram::Quantile(double part) const {
  const double wanted = std::ceil(part * static_cast<double>(m_count));
  const std::int64_t rank = std::max<std::int64_t>(1, std::llround(wanted));
  std::int64_t seen = 0;
  for (std::size_t i = 0; i < m_buckets.size(); ++i) {
    seen += m_buckets[i];
    if (seen >= rank) return std::min(UpperEnd(i), m_max);
  }
  return m_max;
}

}  // namespace fleet
