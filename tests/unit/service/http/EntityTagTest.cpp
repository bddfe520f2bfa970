// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "service/http/EntityTag.h"

namespace cloudservice {
namespace {

TEST(EntityTagTest, Is_found_in_a_list) {
  EXPECT_TRUE(MeansTag("\"a\" , W/\"b\"", "\"b\"", Comparison::kWeak));
  EXPECT_FALSE(MeansTag("\"a\" , W/\"b\"", "\"b\"", Comparison::kStrong));
  for (const Comparison how : {Comparison::kWeak, Comparison::kStrong}) {
    EXPECT_TRUE(MeansTag("\"a\" , \"b\"", "\"b\"", how));
    EXPECT_TRUE(MeansTag("*", "\"b\"", how));
    EXPECT_FALSE(MeansTag("*", std::nullopt, how));
    EXPECT_FALSE(MeansTag("\"ab\", b, ,", "\"b\"", how));
  }
}

TEST(EntityTagTest, Answer_that_the_sender_has_is_not_sent_again) {
  Request request = {"GET", Target("/"), "", "", ""};
  Response response;
  response.body = "text";
  AddWeakTag(request, "\"a\"", response);
  EXPECT_EQ(response.status, 200U);
  EXPECT_EQ(response.body, "text");
  EXPECT_EQ(response.Header("ETag"), "W/\"a\"");
  request.headers = {{"If-None-Match", "W/\"a\""}};
  AddWeakTag(request, "\"b\"", response);
  EXPECT_EQ(response.status, 200U);
  AddWeakTag(request, "\"a\"", response);
  EXPECT_EQ(response.status, 304U);
  EXPECT_EQ(response.body, "");
  EXPECT_EQ(response.Header("ETag"), "W/\"a\"");
}

}  // namespace
}  // namespace cloudservice
