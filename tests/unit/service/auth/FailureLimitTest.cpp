// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "service/auth/FailureLimit.h"

namespace cloudservice {
namespace {

class FailureLimitTest : public testing::Test {
 protected:
  std::int64_t now = 500;
  FailureLimit limit{[this] { return now; }};
};

TEST_F(FailureLimitTest, Tries_come_back_one_by_one) {
  for (int i = 0; i < FailureLimit::kTries; ++i) {
    EXPECT_EQ(limit.Wait("192.0.2.1"), 0);
    limit.Fail("192.0.2.1");
  }
  EXPECT_EQ(limit.Wait("192.0.2.1"), 30);
  now += 29;
  EXPECT_EQ(limit.Wait("192.0.2.1"), 1);
  now += 1;
  EXPECT_EQ(limit.Wait("192.0.2.1"), 0);
  limit.Fail("192.0.2.1");
  EXPECT_EQ(limit.Wait("192.0.2.1"), 30);
}

TEST_F(FailureLimitTest, Never_more_than_all_tries_come_back) {
  limit.Fail("192.0.2.1");
  now += 1000000;
  for (int i = 0; i < FailureLimit::kTries; ++i) limit.Fail("192.0.2.1");
  EXPECT_EQ(limit.Wait("192.0.2.1"), 30);
}

TEST_F(FailureLimitTest, Each_sender_has_its_own) {
  for (int i = 0; i < FailureLimit::kTries; ++i) {
    limit.Fail("192.0.2.1");
    limit.Fail("2001:db8:0:1::" + std::to_string(i));
  }
  EXPECT_EQ(limit.Wait("192.0.2.2"), 0);
  EXPECT_EQ(limit.Wait("::ffff:192.0.2.1"), 0);
  EXPECT_EQ(limit.Wait("2001:db8:0:1:ffff::"), 30) << "one network, one sender";
  EXPECT_EQ(limit.Wait("2001:db8:0:2::1"), 0);
}

TEST_F(FailureLimitTest, Memory_has_an_end_and_keeps_who_was_wrong_most) {
  limit.Fail("most");
  limit.Fail("most");
  for (std::size_t i = 0; i < FailureLimit::kMaxAddresses + 50; ++i) {
    limit.Fail("a" + std::to_string(i));
  }
  EXPECT_EQ(limit.Addresses(), FailureLimit::kMaxAddresses);
  for (int i = 0; i < FailureLimit::kTries - 2; ++i) limit.Fail("most");
  EXPECT_EQ(limit.Wait("most"), 30);
}

}  // namespace
}  // namespace cloudservice
