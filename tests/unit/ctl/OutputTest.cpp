// SPDX-License-Identifier: Apache-2.0
#include <functional>

#include <gtest/gtest.h>

#include "ctl/Output.h"

namespace {

std::string Written(const std::function<void()>& body) {
  testing::internal::CaptureStdout();
  body();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

TEST(OutputTest, Error_is_one_line_and_counted) {
  const int before = ctl::ErrorCount();
  testing::internal::CaptureStderr();
  ctl::PrintError("a\nb\x1b");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "cloudclientctl: a\\nb\\x1B\n");
  EXPECT_EQ(ctl::ErrorCount(), before + 1);
}

TEST(OutputTest, Printable_keeps_all_but_control_bytes) {
  EXPECT_EQ(ctl::Printable("S\xC3\xBC"
                           "d \\ \x07\r\x7f"),
            "S\xC3\xBC"
            "d \\ \\x07\\r\\x7F");
}

TEST(OutputTest, Table_aligns_by_characters_and_ends_lines_without_blanks) {
  const std::string text = Written([] {
    ctl::PrintTable({{"A", "B", "C"}, {"\xC3\xBC\xC3\xBC", "1", ""}, {"x", "22", "y"}});
  });
  EXPECT_EQ(text, "A   B   C\n\xC3\xBC\xC3\xBC  1\nx   22  y\n");
}

TEST(OutputTest, Heading_alone_is_no_table) {
  EXPECT_EQ(Written([] { ctl::PrintTable({{"A", "B"}}); }), "");
}

TEST(OutputTest, Json_of_a_bare_value) {
  EXPECT_EQ(Written([] { ctl::PrintJson(host::JsonString("a\"b").get()); }), "\"a\\\"b\"\n");
}

TEST(OutputTest, Json_of_an_object_keeps_its_order) {
  const host::JsonRef object(json_pack("{s:i, s:b}", "b", 1, "a", 0));
  EXPECT_EQ(Written([&] { ctl::PrintJson(object.get()); }), "{\n  \"b\": 1,\n  \"a\": false\n}\n");
}

}  // namespace
