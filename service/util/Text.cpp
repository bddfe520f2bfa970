// SPDX-License-Identifier: Apache-2.0
// Letters, pieces and percent-encoding of texts.
#include "service/util/Text.h"

#include <algorithm>

namespace cloudservice {

std::string Lower(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return text;
}

std::string WithoutBlanks(const std::string& text) {
  const std::size_t from = text.find_first_not_of(" \t");
  if (from == std::string::npos) return "";
  return text.substr(from, text.find_last_not_of(" \t") - from + 1);
}

std::vector<std::string> Split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::size_t from = 0;
  for (;;) {
    const std::size_t to = text.find(separator, from);
    pieces.push_back(text.substr(from, to - from));
    if (to == std::string::npos) return pieces;
    from = to + 1;
  }
}

std::string PercentEncoded(const std::string& text, const std::string& readable) {
  static const char kDigits[] = "0123456789ABCDEF";
  static const std::string kMarks = "-._~";
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool letterOrDigit =
        (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (letterOrDigit || (kMarks + readable).find(c) != std::string::npos) {
      out += c;
    } else {
      out += {'%', kDigits[byte >> 4], kDigits[byte & 0x0f]};
    }
  }
  return out;
}

}  // namespace cloudservice
