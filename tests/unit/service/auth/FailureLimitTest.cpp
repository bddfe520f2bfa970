// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "TempFolder.h"
#include "TestStore.h"
#include "service/auth/FailureLimit.h"

namespace cloudservice {
namespace {

class FailureLimitTest : public testing::Test {
 protected:
  void Fails(const std::string& address, const std::string& account, std::int64_t times) {
    for (std::int64_t i = 0; i < times; ++i) limit.Fail(address, account);
  }

  std::int64_t now = 1772716029;
  TempFolder folder;
  TestStore store{folder.File("s.db")};
  FailureLimit limit{store, [this] { return now; }};
};

TEST_F(FailureLimitTest, Tries_come_back_one_by_one) {
  for (int i = 0; i < FailureLimit::kTries; ++i) {
    EXPECT_EQ(limit.Wait("192.0.2.1", "a"), 0);
    limit.Fail("192.0.2.1", "a");
  }
  EXPECT_EQ(limit.Wait("192.0.2.1", "a"), 30);
  now += 29;
  EXPECT_EQ(limit.Wait("192.0.2.1", "a"), 1);
  now += 1;
  EXPECT_EQ(limit.Wait("192.0.2.1", "a"), 0);
  limit.Fail("192.0.2.1", "a");
  EXPECT_EQ(limit.Wait("192.0.2.1", "a"), 30);
}

TEST_F(FailureLimitTest, Clock_that_is_set_back_shuts_nobody_out_and_lets_nobody_guess_on) {
  Fails("192.0.2.1", "a", FailureLimit::kTries);
  now -= 1000000;
  EXPECT_EQ(limit.Wait("192.0.2.1", "a"), 0);
  Fails("192.0.2.1", "a", FailureLimit::kTries);
  EXPECT_EQ(limit.Wait("192.0.2.1", "a"), 30);
}

TEST_F(FailureLimitTest, Never_more_than_all_tries_come_back) {
  limit.Fail("192.0.2.1", "a");
  now += 1000000;
  Fails("192.0.2.1", "a", FailureLimit::kTries);
  EXPECT_EQ(limit.Wait("192.0.2.1", "a"), 30);
}

TEST_F(FailureLimitTest, Each_sender_has_its_own) {
  Fails("192.0.2.1", "a", FailureLimit::kTries);
  for (int i = 0; i < FailureLimit::kTries; ++i) {
    limit.Fail("2001:db8:0:1::" + std::to_string(i), "a");
  }
  EXPECT_EQ(limit.Wait("192.0.2.2", "a"), 0);
  EXPECT_EQ(limit.Wait("::ffff:192.0.2.1", "a"), 0);
  EXPECT_EQ(limit.Wait("2001:db8:0:1:ffff::", "a"), 30) << "one network, one sender";
  EXPECT_EQ(limit.Wait("2001:db8:0:2::1", "a"), 0);
}

TEST_F(FailureLimitTest, Each_account_of_a_sender_has_its_own_up_to_what_a_sender_has) {
  Fails("192.0.2.1", "a", FailureLimit::kTries);
  EXPECT_EQ(limit.Wait("192.0.2.1", "a"), 30);
  EXPECT_EQ(limit.Wait("192.0.2.1", "b"), 0);
  for (int i = 1; i < 10; ++i) {
    Fails("192.0.2.1", "a" + std::to_string(i), FailureLimit::kTries);
  }
  EXPECT_EQ(limit.Wait("192.0.2.1", "b"), 3) << "100 tries for all accounts together";
  EXPECT_EQ(limit.Wait("192.0.2.2", "b"), 0);
  now += 3;
  EXPECT_EQ(limit.Wait("192.0.2.1", "b"), 0);
}

}  // namespace
}  // namespace cloudservice
