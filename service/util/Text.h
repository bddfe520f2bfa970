// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_TEXT_H_
#define SERVICE_UTIL_TEXT_H_

#include <string>
#include <vector>

namespace cloudservice {

// Letters A to Z in lower case; any other byte as it is.
std::string Lower(std::string text);

// The pieces of a text between separators: one more than it has of these.
std::vector<std::string> Split(const std::string& text, char separator);

// The text as a value in a query: letters, digits, "-._~" and the bytes of `readable` as they are,
// every other byte percent-encoded.
std::string PercentEncoded(const std::string& text, const std::string& readable = "");

}  // namespace cloudservice

#endif  // SERVICE_UTIL_TEXT_H_
