// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "app/HeaderText.h"

namespace cloudclient {
namespace {

// The value found, or "none"; a search that finds nothing must leave the text as it was.
std::string Location(const std::string& header) {
  std::string value = "none";
  const bool found = FindLocation(header, value);
  EXPECT_EQ(found, value != "none");
  return value;
}

std::string Token(const std::string& header) {
  std::string value = "none";
  const bool found = FindToken(header, value);
  EXPECT_EQ(found, value != "none");
  return value;
}

TEST(HeaderTextTest, Location_is_the_rest_of_its_line) {
  EXPECT_EQ(Location("HTTP/1.1 302 Found\r\nLocation: /redfish/v1/Managers/7\r\n\r\n"),
            "/redfish/v1/Managers/7");
}

TEST(HeaderTextTest, Location_needs_no_blank_and_takes_any_number_of_blanks_and_tabs) {
  EXPECT_EQ(Location("Location:/a\r\n"), "/a");
  EXPECT_EQ(Location("Location:   \t \t/a\r\n"), "/a");
}

TEST(HeaderTextTest, Location_keeps_what_follows_its_first_character) {
  EXPECT_EQ(Location("Location: /a b\t\r\n"), "/a b\t");
}

TEST(HeaderTextTest, Location_without_a_CR_goes_on_to_the_end) {
  EXPECT_EQ(Location("Location: /a\nNext: b"), "/a\nNext: b");
}

TEST(HeaderTextTest, Location_is_found_in_exactly_this_case) {
  EXPECT_EQ(Location("location: /a\r\n\r\n"), "none");
  EXPECT_EQ(Location("LOCATION: /a\r\n\r\n"), "none");
  EXPECT_EQ(Location("location: /a\r\nLocation: /b\r\n"), "/b");
}

TEST(HeaderTextTest, Location_needs_its_colon) {
  EXPECT_EQ(Location("Location /a\r\n"), "none");
  EXPECT_EQ(Location("Location"), "none");
}

TEST(HeaderTextTest, Location_is_found_first_anywhere_in_the_text) {
  EXPECT_EQ(Location("Content-Location: /a\r\nLocation: /b\r\n"), "/a");
  EXPECT_EQ(Location("Location: /a\r\nLocation: /b\r\n"), "/a");
}

TEST(HeaderTextTest, Location_with_nothing_after_it_is_empty) {
  EXPECT_EQ(Location("Location:\r\n\r\n"), "");
  EXPECT_EQ(Location("Location: \t\r\n\r\n"), "");
  EXPECT_EQ(Location("Location:"), "");
  EXPECT_EQ(Location("Location: \t "), "");
}

TEST(HeaderTextTest, Nothing_is_found_in_an_empty_text) {
  EXPECT_EQ(Location(""), "none");
  EXPECT_EQ(Token(""), "none");
}

TEST(HeaderTextTest, Token_is_found_in_any_case) {
  EXPECT_EQ(Token("HTTP/1.1 201 Created\r\nX-Auth-Token: abc\r\n\r\n"), "abc");
  EXPECT_EQ(Token("x-auth-token: abc\r\n"), "abc");
  EXPECT_EQ(Token("X-AUTH-TOKEN: abc\r\n"), "abc");
  EXPECT_EQ(Token("x-aUtH-tOkEn: AbC\r\n"), "AbC");
}

TEST(HeaderTextTest, Token_loses_leading_blanks_and_tabs) {
  EXPECT_EQ(Token("X-Auth-Token:abc\r\n"), "abc");
  EXPECT_EQ(Token("X-Auth-Token: \t  abc\r\n"), "abc");
}

TEST(HeaderTextTest, Token_keeps_trailing_blanks) {
  EXPECT_EQ(Token("X-Auth-Token: abc \t\r\n"), "abc \t");
}

TEST(HeaderTextTest, Token_of_blanks_alone_is_kept_as_it_is) {
  EXPECT_EQ(Token("X-Auth-Token: \t \r\n"), " \t ");
  EXPECT_EQ(Token("X-Auth-Token: \t "), " \t ");
}

TEST(HeaderTextTest, Token_is_cut_before_its_blanks_are_dropped) {
  EXPECT_EQ(Token("X-Auth-Token: \r\nNext: b\r\n"), " ");
  EXPECT_EQ(Token("X-Auth-Token:\r\nNext: b\r\n"), "");
}

TEST(HeaderTextTest, Token_without_a_CR_goes_on_to_the_end) {
  EXPECT_EQ(Token("X-Auth-Token: abc"), "abc");
  EXPECT_EQ(Token("X-Auth-Token: abc\nNext: b"), "abc\nNext: b");
}

TEST(HeaderTextTest, Token_is_found_first_anywhere_in_the_text) {
  EXPECT_EQ(Token("My-X-Auth-Token: a\r\nX-Auth-Token: b\r\n"), "a");
  EXPECT_EQ(Token("X-Auth-Token: a\r\nX-Auth-Token: b\r\n"), "a");
}

// The one character after the name is taken for its colon, whatever it is.
TEST(HeaderTextTest, Token_starts_one_character_after_its_name) {
  EXPECT_EQ(Token("X-Auth-Tokens: a\r\n"), ": a");
}

TEST(HeaderTextTest, Token_whose_name_ends_the_text_is_empty) {
  EXPECT_EQ(Token("X-Auth-Token"), "");
  EXPECT_EQ(Token("X-Auth-Token:"), "");
}

TEST(HeaderTextTest, Token_of_a_name_that_is_cut_off_is_not_found) {
  EXPECT_EQ(Token("X-Auth-Toke"), "none");
}

TEST(HeaderTextTest, Bytes_above_127_do_no_harm) {
  EXPECT_EQ(Token("\xff\xe4\r\nX-Auth-Token: \xe4\r\n"), "\xe4");
}

}  // namespace
}  // namespace cloudclient
