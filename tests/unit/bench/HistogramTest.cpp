// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "Histogram.h"

namespace fleet {
namespace {

TEST(HistogramTest, Holds_nothing_at_first) {
  const Histogram histogram;
  EXPECT_EQ(histogram.Count(), 0);
  EXPECT_EQ(histogram.Max(), 0);
  EXPECT_EQ(histogram.Mean(), 0);
  EXPECT_EQ(histogram.Quantile(0.99), 0);
}

TEST(HistogramTest, Small_values_are_exact) {
  Histogram histogram;
  for (int value = 0; value < 256; ++value) histogram.Add(value);
  for (int value = 0; value < 256; ++value) {
    EXPECT_EQ(histogram.Quantile((value + 1) / 256.0), value);
  }
}

TEST(HistogramTest, A_quantile_exceeds_its_value_by_less_than_one_part_in_128) {
  for (std::int64_t value = 256; value < std::int64_t{1} << 39; value = value * 5 / 4 + 1) {
    Histogram histogram;
    histogram.Add(value);
    histogram.Add(std::int64_t{1} << 39);
    EXPECT_GE(histogram.Quantile(0.5), value);
    EXPECT_LE(histogram.Quantile(0.5) - value, value / 128);
  }
}

TEST(HistogramTest, A_value_stands_in_one_bucket_with_its_neighbours_only) {
  Histogram histogram;
  histogram.Add(511);
  histogram.Add(512);
  EXPECT_EQ(histogram.Quantile(0.5), 511);
  EXPECT_EQ(histogram.Quantile(1), 512);
}

TEST(HistogramTest, Of_a_hundred_the_last_is_beyond_the_99th_part) {
  Histogram histogram;
  for (int i = 0; i < 99; ++i) histogram.Add(10);
  histogram.Add(200);
  EXPECT_EQ(histogram.Quantile(0.99), 10);
  EXPECT_EQ(histogram.Quantile(0.999), 200);
  EXPECT_EQ(histogram.Max(), 200);
  EXPECT_DOUBLE_EQ(histogram.Mean(), 11.9);
}

TEST(HistogramTest, No_quantile_is_above_the_greatest_value) {
  Histogram histogram;
  histogram.Add(1000000);
  EXPECT_EQ(histogram.Quantile(0.5), 1000000);
}

TEST(HistogramTest, Values_out_of_range_count_as_the_nearest_in_it) {
  Histogram histogram;
  histogram.Add(-1);
  histogram.Add(std::int64_t{1} << 62);
  EXPECT_EQ(histogram.Count(), 2);
  EXPECT_EQ(histogram.Quantile(0.5), 0);
  EXPECT_EQ(histogram.Max(), (std::int64_t{1} << 40) - 1);
}

TEST(HistogramTest, Adding_another_counts_all_of_its_values) {
  Histogram one;
  Histogram other;
  one.Add(10);
  other.Add(20);
  other.Add(30);
  one.Add(other);
  EXPECT_EQ(one.Count(), 3);
  EXPECT_EQ(one.Quantile(0.5), 20);
  EXPECT_EQ(one.Max(), 30);
  EXPECT_DOUBLE_EQ(one.Mean(), 20);
}

}  // namespace
}  // namespace fleet
