// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include <gtest/gtest.h>

#include "service/util/Budget.h"

namespace cloudservice {
namespace {

TEST(BudgetTest, Is_taken_up_to_its_limit_and_given_back) {
  Budget budget(10);
  EXPECT_TRUE(budget.Take(7));
  EXPECT_FALSE(budget.Take(4));
  EXPECT_EQ(budget.Taken(), 7U);
  EXPECT_TRUE(budget.Take(3));
  budget.Give(10);
  EXPECT_EQ(budget.Taken(), 0U);
  EXPECT_FALSE(budget.Take(11));
}

TEST(BudgetTest, Share_gives_back_what_it_has_taken) {
  const auto budget = std::make_shared<Budget>(10);
  {
    Share share(budget);
    EXPECT_TRUE(share.Take(3));
    EXPECT_TRUE(share.Take(4));
    EXPECT_FALSE(share.Take(4));
    EXPECT_EQ(budget->Taken(), 7U);
    share.Reset();
    EXPECT_EQ(budget->Taken(), 0U);
    EXPECT_TRUE(share.Take(10));
  }
  EXPECT_EQ(budget->Taken(), 0U);
}

}  // namespace
}  // namespace cloudservice
