// SPDX-License-Identifier: Apache-2.0
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "service/util/Histogram.h"

namespace cloudservice {
namespace {

using std::chrono::microseconds;
using std::chrono::nanoseconds;

TEST(HistogramTest, Time_counts_in_the_first_bound_that_is_not_shorter) {
  Histogram histogram;
  histogram.Observe(nanoseconds(0));
  histogram.Observe(microseconds(500));
  histogram.Observe(microseconds(500) + nanoseconds(1));
  histogram.Observe(microseconds(5000000));
  histogram.Observe(microseconds(5000001));
  const Histogram::Values values = histogram.Now();
  EXPECT_EQ(values.counts.front(), 2u);
  EXPECT_EQ(values.counts[1], 1u);
  EXPECT_EQ(values.counts[Histogram::kBounds.size() - 1], 1u);
  EXPECT_EQ(values.counts.back(), 1u);
  EXPECT_EQ(values.sum, microseconds(10001001) + nanoseconds(1));
}

TEST(HistogramTest, Threads_lose_nothing) {
  Histogram histogram;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 10000; ++n) histogram.Observe(microseconds(3));
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(histogram.Now().counts.front(), 40000u);
  EXPECT_EQ(histogram.Now().sum, microseconds(120000));
}

}  // namespace
}  // namespace cloudservice
