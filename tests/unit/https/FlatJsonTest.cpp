// SPDX-License-Identifier: Apache-2.0
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "https/HttpsClient.h"

namespace unit {
namespace {

std::string Rendered(const std::map<std::string, std::string>& entries) {
  std::string text = "old";
  cloudclient::BuildFlatJson(entries, text);
  return text;
}

TEST(FlatJsonTest, Renders_one_entry_a_line_in_key_order) {
  EXPECT_EQ(Rendered({{"b", "2"}, {"a", "1"}}), "{\n\"a\": \"1\",\n\"b\": \"2\"\n}\n");
}

TEST(FlatJsonTest, Renders_a_single_entry_without_a_comma) {
  EXPECT_EQ(Rendered({{"UUID", "u"}}), "{\n\"UUID\": \"u\"\n}\n");
}

TEST(FlatJsonTest, Renders_an_empty_map_as_two_lines) { EXPECT_EQ(Rendered({}), "{\n}\n"); }

TEST(FlatJsonTest, Escapes_nothing) {
  EXPECT_EQ(Rendered({{"k\"", "a\\b\"c\n"}}), "{\n\"k\"\": \"a\\b\"c\n\"\n}\n");
}

TEST(FlatJsonTest, Keeps_empty_keys_and_values) {
  EXPECT_EQ(Rendered({{"", ""}, {"z", ""}}), "{\n\"\": \"\",\n\"z\": \"\"\n}\n");
}

}  // namespace
}  // namespace unit
