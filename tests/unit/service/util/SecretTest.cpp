// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/util/Secret.h"

namespace cloudservice {
namespace {

using testing::MatchesRegex;

TEST(SecretTest, Hash_matches_its_password_alone_and_is_another_each_time) {
  const std::string hash = HashPassword("a password");
  EXPECT_THAT(hash, MatchesRegex("scrypt\\$15\\$8\\$1\\$[0-9a-f]{32}\\$[0-9a-f]{64}"));
  EXPECT_TRUE(MatchesPassword("a password", hash));
  EXPECT_FALSE(MatchesPassword("a passwore", hash));
  EXPECT_FALSE(MatchesPassword("", hash));
  EXPECT_NE(HashPassword("a password"), hash);
}

TEST(SecretTest, Nobodys_hash_costs_as_much_and_matches_nothing) {
  EXPECT_THAT(NobodysHash(), MatchesRegex("scrypt\\$15\\$8\\$1\\$[0-9a-f]{32}\\$[0-9a-f]{64}"));
  EXPECT_FALSE(MatchesPassword("", NobodysHash()));
}

TEST(SecretTest, What_is_no_hash_matches_nothing) {
  for (const char* hash : {"", "a password", "scrypt$15$8$1$00", "scrypt$99$8$1$00$00",
                           "scrypt$0$8$1$00$00", "scrypt$x$8$1$00$00", "bcrypt$15$8$1$00$00"}) {
    EXPECT_FALSE(MatchesPassword("a password", hash)) << hash;
  }
}

TEST(SecretTest, Passwords_for_people_are_told_apart) {
  const std::string password = RandomPassword();
  EXPECT_THAT(password, MatchesRegex("([a-km-np-z2-9]{5}-){3}[a-km-np-z2-9]{5}"));
  EXPECT_NE(RandomPassword(), password);
}

TEST(SecretTest, Base64_is_read_strictly) {
  EXPECT_EQ(DecodeBase64("YTpi"), "a:b");
  EXPECT_EQ(DecodeBase64("YWI="), "ab");
  EXPECT_EQ(DecodeBase64("YQ=="), "a");
  for (const char* text : {"", "YTp", "YT=i", " YTpi", "YTpi\n", "Y===", "====", "YT-_"}) {
    EXPECT_FALSE(DecodeBase64(text)) << text;
  }
}

}  // namespace
}  // namespace cloudservice
