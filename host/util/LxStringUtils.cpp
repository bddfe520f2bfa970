// SPDX-License-Identifier: Apache-2.0
// Splitting texts and reading numbers.
#include "platform/util/LxStringUtils.h"

#include <limits>

namespace {

bool ParseWhole(const std::string& text, int64_t low, int64_t high, int64_t& value) {
  size_t at = 0;
  const bool negative = !text.empty() && text[0] == '-';
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) at = 1;
  if (at == text.size()) return false;
  int64_t number = 0;
  for (; at < text.size(); ++at) {
    if (text[at] < '0' || text[at] > '9') return false;
    number = number * 10 + (text[at] - '0');
    // Far outside of either range, and far from an overflow.
    if (number > std::numeric_limits<uint32_t>::max()) return false;
  }
  if (negative) number = -number;
  if (number < low || number > high) return false;
  value = number;
  return true;
}

template <typename Number>
bool Convert(const std::string& text, Number& value) {
  int64_t number = 0;
  if (!ParseWhole(text, std::numeric_limits<Number>::min(), std::numeric_limits<Number>::max(),
                  number)) {
    return false;
  }
  value = static_cast<Number>(number);
  return true;
}

}  // namespace

void LxStringUtils::Split(const std::string& text, char delimiter,
                          std::vector<std::string>& pieces) {
  std::vector<std::string> found;
  size_t start = 0;
  for (size_t end = text.find(delimiter); end != std::string::npos;
       end = text.find(delimiter, start)) {
    found.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  found.push_back(text.substr(start));
  pieces.swap(found);
}

bool LxStringUtils::ConvertStringToLong(const std::string& text, int32_t& value) {
  return Convert(text, value);
}

bool LxStringUtils::ConvertStringToInt16(const std::string& text, int16_t& value) {
  return Convert(text, value);
}

bool LxStringUtils::IsInteger(const std::string& text) {
  int32_t value = 0;
  return ConvertStringToLong(text, value);
}
