// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "service/util/Words.h"

namespace cloudservice {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(WordsTest, Letters_of_every_alphabet_become_small) {
  EXPECT_EQ(Folded("Rack 7, ABC-[z]"), "rack 7, abc-[z]");
  EXPECT_EQ(Folded("ÄÖÜ ß ẞ ÉÇ"), "äöü ß ß éç");
  EXPECT_EQ(Folded("КОТЕЛЬНАЯ Ё"), "котельная ё");
  EXPECT_EQ(Folded("Ա Ⴀ Ａ"), "ա ⴀ ａ");
  EXPECT_EQ(Folded("冷却 ポンプ"), "冷却 ポンプ");
}

TEST(WordsTest, Letters_that_look_alike_to_a_reader_are_one) {
  EXPECT_EQ(Folded("ΔΡΌΜΟΣ"), Folded("δρόμος"));
  EXPECT_EQ(Folded("İSTANBUL"), "istanbul");
  EXPECT_EQ(Folded("i\u0307"), "i");
}

TEST(WordsTest, Bytes_that_are_no_text_stay) {
  const std::string bytes =
      "\xFF"
      "A\xC3"
      "Ä\xE2\x82\xF4\x90\x80\x80";
  const std::string folded =
      "\xFF"
      "a\xC3"
      "ä\xE2\x82\xF4\x90\x80\x80";
  EXPECT_EQ(Folded(bytes), folded);
  EXPECT_EQ(Folded(std::string("Ä\0B", 4)), std::string("ä\0b", 4));
  EXPECT_EQ(Folded(""), "");
}

TEST(WordsTest, Blanks_of_any_number_and_kind_part_words) {
  EXPECT_THAT(Words("  Rack\t7 \n ÄB ").All(), ElementsAre("rack", "7", "äb"));
  EXPECT_THAT(Words(" \t").All(), IsEmpty());
  EXPECT_TRUE(Words(" ").AreNone());
  EXPECT_FALSE(Words("a").AreNone());
  EXPECT_THAT(Words(Words(" b  A ").Text()).All(), ElementsAre("b", "a"));
}

TEST(WordsTest, All_words_must_stand_somewhere_each_within_one_text) {
  const Words words("7 rack");
  EXPECT_TRUE(words.AreIn({"Rack 17"}));
  EXPECT_TRUE(words.AreIn({"Hall 7", "RACKS"}));
  EXPECT_FALSE(words.AreIn({"Hall 7"}));
  EXPECT_FALSE(words.AreIn({"ra", "ck7"}));
  EXPECT_FALSE(words.AreIn({}));
  EXPECT_TRUE(Words().AreIn({}));
}

}  // namespace
}  // namespace cloudservice
