// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "ctl/ConfigValues.h"
#include "host/config/ConfigKeys.h"

namespace {

// Why a key of cloud.json may not have that value; empty where it may.
std::string Refused(const std::string& name, const std::string& value) {
  for (const auto& key : host::CloudKeys()) {
    if (name == key.json.name) return ctl::CheckValue(key, value).Text();
  }
  return "no key";
}

TEST(ConfigValuesTest, Control_bytes_are_refused) {
  for (const char* value : {"a\rb", "a\n", "\x1b[2J", "\x7f"}) {
    EXPECT_EQ(Refused(host::kUserEmail, value), "UserEmail has no control bytes");
    EXPECT_EQ(Refused(host::kRegistrationKey, value), "RegistrationKey has no control bytes");
  }
  EXPECT_EQ(Refused(host::kUserEmail, "\u00fc@example.org"), "");
  EXPECT_EQ(Refused(host::kUrl, std::string("http://a\x1f")),
            "Url has no blanks, no control bytes, no ? and no #");
  EXPECT_EQ(Refused(host::kUrl, "http://a"), "");
}

}  // namespace
