// SPDX-License-Identifier: Apache-2.0
#include "base/Masked.h"
#include "base/Policy.h"
#include "fakes/PlatformTest.h"

namespace unit {
namespace {

using cloudclient::Masked;
using cloudclient::RememberToken;

class MaskedTest : public fakes::PlatformTest {
 protected:
  void SetUp() override {
    fakes::PlatformTest::SetUp();
    fakes::platform().cloud.key = "key-1";
    fakes::platform().cloud.token = "tok-1";
    Use(true);
  }
  static void Use(bool masks) {
    cloudclient::Policy policy;
    policy.log.maskSecrets = masks;
    cloudclient::UsePolicy(policy);
  }
};

TEST_F(MaskedTest, Without_the_policy_a_text_is_as_it_is) {
  Use(false);
  RememberToken("old");
  EXPECT_EQ(Masked("key-1 tok-1 old X-Auth-Token: new"), "key-1 tok-1 old X-Auth-Token: new");
}

TEST_F(MaskedTest, Key_and_token_are_masked_wherever_they_stand) {
  EXPECT_EQ(Masked("?registration_key=key-1&a=tok-1tok-1"),
            "?registration_key=********&a=****************");
  EXPECT_EQ(Masked("nothing"), "nothing");
  EXPECT_EQ(Masked(""), "");
}

TEST_F(MaskedTest, A_token_that_was_sent_stays_a_secret) {
  RememberToken("tok-0");
  RememberToken("");
  EXPECT_EQ(Masked("tok-0 tok-1"), "******** ********");
}

TEST_F(MaskedTest, A_secret_that_holds_another_is_masked_whole) {
  RememberToken("tok-1-long");
  EXPECT_EQ(Masked("(tok-1-long)"), "(********)");
}

TEST_F(MaskedTest, A_header_line_of_a_token_that_nobody_knows_is_masked) {
  EXPECT_EQ(Masked("HTTP/1.1 201 Created\r\nx-auth-token: \t new 1 \r\nA: b\r\n\r\n"),
            "HTTP/1.1 201 Created\r\nx-auth-token: \t ********\r\nA: b\r\n\r\n");
  EXPECT_EQ(Masked("X-Auth-Token:new"), "X-Auth-Token:********");
  EXPECT_EQ(Masked("X-Auth-Token: new 2 \r\n\r\nnew 2"), "X-Auth-Token: ********\r\n\r\n********");
  EXPECT_EQ(Masked("X-Auth-Token:\r\nA: b"), "X-Auth-Token:\r\nA: b");
  EXPECT_EQ(Masked("X-Auth-Token:"), "X-Auth-Token:");
}

TEST_F(MaskedTest, Without_secrets_nothing_is_masked) {
  fakes::platform().cloud.key.clear();
  fakes::platform().cloud.token.clear();
  EXPECT_EQ(Masked("key-1"), "key-1");
}

TEST_F(MaskedTest, The_newest_tokens_are_kept) {
  for (int i = 0; i < 20; ++i) RememberToken("<" + std::to_string(i) + ">");
  EXPECT_EQ(Masked("<19><12><11>"), "****************<11>");
}

}  // namespace
}  // namespace unit
