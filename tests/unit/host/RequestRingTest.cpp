// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/util/RequestRing.h"

namespace host {
namespace {

SeenRequest To(const std::string& url) {
  SeenRequest request;
  request.url = url;
  return request;
}

uint64_t g_newest = 0;

std::vector<SeenRequest> Since(uint64_t number) { return RequestsSince(number, g_newest); }

TEST(RequestRingTest, Nobody_watches_until_somebody_asks) {
  EXPECT_FALSE(IsWatched());
  EXPECT_TRUE(Since(0).empty());
  EXPECT_TRUE(IsWatched());
}

TEST(RequestRingTest, What_was_seen_before_is_not_answered) {
  SeeRequest(To("a"));
  EXPECT_TRUE(Since(0).empty());
  SeeRequest(To("b"));
  const auto seen = Since(0);
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].url, "b");
  EXPECT_EQ(seen[0].number, 2u);
}

TEST(RequestRingTest, Answers_what_came_after_a_number_the_newest_200) {
  Since(0);
  for (int i = 1; i <= 205; ++i) SeeRequest(To(std::to_string(i)));
  EXPECT_EQ(Since(0).size(), 200u);
  EXPECT_EQ(Since(0).front().number, 6u);
  const auto seen = Since(204);
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].url, "205");
  EXPECT_TRUE(Since(205).empty());
  EXPECT_EQ(g_newest, 205u);
}

}  // namespace
}  // namespace host
