// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "service/store/postgresql/Encoding.h"

namespace cloudservice::postgresql {
namespace {

using namespace std::string_literals;

TEST(EncodingTest, Text_of_utf8_stays_as_it_is) {
  for (const std::string& text :
       {""s, "plain"s, "\u00e9\u20ac\U0001f600"s, "\x02\x1f\x7f"s, "{\"a\": \"\\u0000\"}"s,
        "\xed\x9f\xbf\xee\x80\x80\xf4\x8f\xbf\xbf"s}) {
    EXPECT_EQ(Encoded(text), text);
    EXPECT_EQ(Decoded(text), text);
  }
}

TEST(EncodingTest, Text_of_any_bytes_comes_back) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const std::string text = {'a', static_cast<char>(first), static_cast<char>(second), 'z'};
      const std::string encoded = Encoded(text);
      EXPECT_EQ(Decoded(encoded), text);
      EXPECT_EQ(encoded.find('\0'), std::string::npos);
      // What is encoded is valid: only the mark would be encoded once more.
      std::string again = encoded;
      again.erase(std::remove(again.begin(), again.end(), '\x01'), again.end());
      EXPECT_EQ(Encoded(again), again) << first << " " << second;
    }
  }
}

TEST(EncodingTest, Byte_that_is_no_part_of_utf8_is_written_out) {
  EXPECT_EQ(Encoded("\xff"),
            "\x01"
            "3ff");
  EXPECT_EQ(Encoded("\xc3("),
            "\x01"
            "3c3(");
  EXPECT_EQ(Encoded("\xc0\x80"),
            "\x01"
            "3c0\x01"
            "380")
      << "a longer form than needed";
  EXPECT_EQ(Encoded("\xed\xa0\x80"),
            "\x01"
            "3ed\x01"
            "3a0\x01"
            "380")
      << "a surrogate";
  EXPECT_EQ(Encoded("\xf4\x90\x80\x80").size(), 16u) << "above the last character";
  EXPECT_EQ(Encoded("\xe2\x82"),
            "\x01"
            "3e2\x01"
            "382")
      << "cut off";
  EXPECT_EQ(Encoded("a\0b\x01"s),
            "a\x01"
            "1b\x01"
            "2");
}

TEST(EncodingTest, Order_of_texts_is_kept) {
  std::vector<std::string> texts = {""s,     "\0"s,          "\0\0"s,  "\0\x01"s, "\0a"s,
                                    "\x01"s, "\x01\0"s,      "\x01z"s, "\x02"s,   "a"s,
                                    "a\0"s,  "a\0\xc3\xa9"s, "a\x01"s, "ab"s,     "\xc3\xa9"s};
  ASSERT_TRUE(std::is_sorted(texts.begin(), texts.end()));
  for (std::string& text : texts) text = Encoded(text);
  EXPECT_TRUE(std::is_sorted(texts.begin(), texts.end()));
}

TEST(EncodingTest, Array_quotes_its_texts) {
  EXPECT_EQ(ArrayOf({}), "{}");
  EXPECT_EQ(ArrayOf({"a", "", "NULL", "b\"c\\d,{}"}), R"({"a","","NULL","b\"c\\d,{}"})");
  EXPECT_EQ(ArrayOf({"\0"s}),
            "{\"\x01"
            "1\"}");
}

}  // namespace
}  // namespace cloudservice::postgresql
