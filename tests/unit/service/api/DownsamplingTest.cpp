// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/api/Downsampling.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;

std::vector<double> Values(const Downsampling& downsampling) {
  std::vector<double> values;
  for (const Sample& sample : downsampling.Samples()) values.push_back(sample.value);
  return values;
}

TEST(DownsamplingTest, Few_samples_are_kept_as_they_are) {
  Downsampling downsampling(0, 100, 4);
  for (const std::int64_t time : {0, 1, 2, 99}) downsampling.Add({time, 5});
  EXPECT_THAT(Values(downsampling), ElementsAre(5, 5, 5, 5));
}

TEST(DownsamplingTest, Each_part_keeps_its_lowest_and_highest_in_the_order_of_time) {
  Downsampling downsampling(0, 100, 5);
  const double values[] = {3, 9, 1, 4, 7, 7};
  const std::int64_t times[] = {0, 10, 49, 50, 60, 99};
  for (int i = 0; i < 6; ++i) downsampling.Add({times[i], values[i]});
  EXPECT_THAT(Values(downsampling), ElementsAre(9, 1, 4, 7));
  EXPECT_EQ(downsampling.Lowest()->time, 49);
  EXPECT_EQ(downsampling.Highest()->time, 10);
}

TEST(DownsamplingTest, Stretches_of_any_length_are_parted) {
  Downsampling downsampling(-4000000000000, 4000000000000, 2);
  for (int i = 0; i < 5; ++i) downsampling.Add({3999999999990 + i, double(i)});
  EXPECT_THAT(Values(downsampling), ElementsAre(0, 4));
  EXPECT_FALSE(Downsampling(0, 1, 2).Lowest());
}

}  // namespace
}  // namespace cloudservice
