// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>

#include <algorithm>
#include <array>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/RandomBytes.h"

namespace cloudclient {
namespace {

using Bytes = std::array<unsigned char, 32>;

TEST(RandomBytesTest, Fills_all_and_differs_each_time) {
  Bytes first = {};
  Bytes second = {};
  ASSERT_TRUE(RandomBytes(first.data(), first.size()));
  ASSERT_TRUE(RandomBytes(second.data(), second.size()));
  EXPECT_NE(first, second);
  // The last byte too, but for one time in 2^64.
  Bytes last = {};
  for (int i = 0; i < 8; ++i) {
    ASSERT_TRUE(RandomBytes(last.data(), last.size()));
    first[static_cast<size_t>(i)] = last.back();
  }
  EXPECT_FALSE(std::all_of(first.begin(), first.begin() + 8, [](int byte) { return byte == 0; }));
}

TEST(RandomBytesTest, Without_a_descriptor_there_are_none) {
  rlimit before = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none = {0, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  Bytes bytes = {};
  const bool filled = RandomBytes(bytes.data(), bytes.size());
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_FALSE(filled);
}

}  // namespace
}  // namespace cloudclient
