// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "ctl/SupportBundle.h"

namespace {

using ctl::WithoutKeys;

TEST(SupportBundleTest, What_stands_where_a_token_does_is_masked) {
  EXPECT_EQ(WithoutKeys("hdr: HTTP/1.1 201\\r\\nX-Auth-Token: abc\\r\\nLocation: /x"),
            "hdr: HTTP/1.1 201\\r\\nX-Auth-Token: ********\\r\\nLocation: /x");
  EXPECT_EQ(WithoutKeys("DeleteResource: xauthtoken:abc"), "DeleteResource: xauthtoken:********");
  EXPECT_EQ(WithoutKeys("Unregister: Failed to delete manager (abc)"),
            "Unregister: Failed to delete manager (********");
  EXPECT_EQ(WithoutKeys("X-AUTH-TOKEN:a\\r\\nx-auth-token:   b c"),
            "X-AUTH-TOKEN:********\\r\\nx-auth-token:   ********");
}

TEST(SupportBundleTest, What_stands_where_a_registration_key_does_is_masked_whatever_it_holds) {
  EXPECT_EQ(WithoutKeys("url (https://a/?setup_email=e&registration_key=se+cret&47 11) and more"),
            "url (https://a/?setup_email=e&registration_key=********");
}

TEST(SupportBundleTest, Any_other_line_stays) {
  for (const char* line : {"", "registration_key=", "xauthtoken: ", "a token"}) {
    EXPECT_EQ(WithoutKeys(line), line);
  }
}

}  // namespace
