// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_UTIL_LXSTRINGUTILS_H_
#define PLATFORM_UTIL_LXSTRINGUTILS_H_

#include <cstdint>
#include <string>
#include <vector>

// Splitting and conversion of texts. Numbers are decimal with an optional sign and fill the whole
// text: no blanks before or after, at least one digit. Any thread.
class LxStringUtils {
 public:
  // The pieces of `text` between occurrences of `delimiter`, in order. Empty pieces are kept: n
  // delimiters give n + 1 pieces, an empty text one empty piece. Replaces what `pieces` held.
  static void Split(const std::string& text, char delimiter, std::vector<std::string>& pieces);

  // True, and the number in `value`, when `text` is a number of 32 bits; else false, and `value`
  // as it was.
  static bool ConvertStringToLong(const std::string& text, int32_t& value);

  // The same for a number of 16 bits (-32768 to 32767).
  static bool ConvertStringToInt16(const std::string& text, int16_t& value);

  // True when `text` is a number of 32 bits.
  static bool IsInteger(const std::string& text);
};

#endif  // PLATFORM_UTIL_LXSTRINGUTILS_H_
