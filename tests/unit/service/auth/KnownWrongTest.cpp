// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "service/auth/KnownWrong.h"

namespace cloudservice {
namespace {

TEST(KnownWrongTest, Knows_a_secret_of_an_account_in_its_state) {
  KnownWrong wrong;
  wrong.Add("a", "secret", "state");
  EXPECT_TRUE(wrong.Knows("a", "secret", "state"));
  EXPECT_FALSE(wrong.Knows("a", "secret", "another"));
  EXPECT_FALSE(wrong.Knows("a", "secreT", "state"));
  EXPECT_FALSE(wrong.Knows("b", "secret", "state"));
  EXPECT_FALSE(wrong.Knows("as", "ecret", "state"));
  wrong.Add("a", "secret", "another");
  EXPECT_TRUE(wrong.Knows("a", "secret", "another"));
  EXPECT_FALSE(wrong.Knows("a", "secret", "state"));
}

TEST(KnownWrongTest, Forgets_the_oldest_beyond_its_limit) {
  KnownWrong wrong;
  for (std::size_t i = 0; i < KnownWrong::kMost; ++i) wrong.Add("a", std::to_string(i), "");
  wrong.Add("a", "1", "");
  EXPECT_TRUE(wrong.Knows("a", "0", ""));
  wrong.Add("a", "one more", "");
  EXPECT_FALSE(wrong.Knows("a", "0", ""));
  EXPECT_TRUE(wrong.Knows("a", "1", ""));
  EXPECT_TRUE(wrong.Knows("a", "one more", ""));
}

}  // namespace
}  // namespace cloudservice
