// SPDX-License-Identifier: Apache-2.0
// A text without the blanks at its ends.
#ifndef HOST_UTIL_TRIMMED_H_
#define HOST_UTIL_TRIMMED_H_

#include <string>

namespace host {

// Without blanks, tabs and line ends before and behind it.
inline std::string Trimmed(const std::string& text) {
  constexpr char kBlanks[] = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace host

#endif  // HOST_UTIL_TRIMMED_H_
