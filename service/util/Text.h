// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_TEXT_H_
#define SERVICE_UTIL_TEXT_H_

#include <string>
#include <vector>

namespace cloudservice {

// The text with the letters A to Z in lower case; every other byte stays.
std::string Lower(std::string text);

// The text without the blanks and tabs in front and at the end.
std::string WithoutBlanks(const std::string& text);

// The pieces of a text between its separators, one more than there are separators; pieces may be
// empty.
std::vector<std::string> Split(const std::string& text, char separator);

// The text as a value in a query: letters, digits, "-._~" and the bytes of `readable` stay, every
// other byte is percent-encoded.
std::string PercentEncoded(const std::string& text, const std::string& readable = "");

}  // namespace cloudservice

#endif  // SERVICE_UTIL_TEXT_H_
