// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include "service/redfish/RecentSenders.h"
#include "service/util/Secret.h"

namespace cloudservice {
namespace {

std::string HashOf(int sender) { return Sha256Hex("token of " + std::to_string(sender)); }

TEST(RecentSendersTest, Whoever_sent_is_known_until_forgotten) {
  RecentSenders recent;
  EXPECT_FALSE(recent.Has(HashOf(1)));
  for (const int sender : {1, 2, 1}) recent.Add(HashOf(sender));
  EXPECT_TRUE(recent.Has(HashOf(1)));
  recent.Forget(HashOf(1));
  EXPECT_FALSE(recent.Has(HashOf(1)));
  EXPECT_TRUE(recent.Has(HashOf(2)));
}

TEST(RecentSendersTest, Nearly_all_of_a_large_fleet_are_known_at_once) {
  constexpr int kFleet = 50'000;
  RecentSenders recent;
  for (int i = 0; i < kFleet; ++i) recent.Add(HashOf(i));
  int known = 0;
  for (int i = 0; i < kFleet; ++i) known += recent.Has(HashOf(i)) ? 1 : 0;
  EXPECT_GT(known, kFleet / 100 * 99);
}

// The last digits of the beginning say which place it is.
TEST(RecentSendersTest, Where_a_place_is_full_the_newest_is_known) {
  constexpr int kMany = 1000;
  const auto hash = [](int sender) {
    const std::string digits = std::to_string(sender);
    return std::string(8 - digits.size(), '0') + digits + "00000001" + std::string(48, '0');
  };
  RecentSenders recent;
  for (int i = 0; i < kMany; ++i) {
    recent.Add(hash(i));
    EXPECT_TRUE(recent.Has(hash(i))) << i;
  }
  int known = 0;
  for (int i = 0; i < kMany; ++i) known += recent.Has(hash(i)) ? 1 : 0;
  EXPECT_LE(known, 8);
}

}  // namespace
}  // namespace cloudservice
