// SPDX-License-Identifier: Apache-2.0
// Formats of texts: times, offsets, durations, UUIDs, addresses.
#include "service/redfish/schema/Formats.h"

#include <regex>

namespace cloudservice {

namespace {

// A longer text has none of these formats. The limit bounds the recursion of the library's regular
// expressions.
constexpr std::size_t kLongest = 128;

bool Fits(const std::string& text, const char* pattern) {
  return text.size() <= kLongest && std::regex_match(text, std::regex(pattern));
}

int DaysOf(int month, int year) {
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

}  // namespace

std::optional<std::string> ValidTime(const std::string& text) {
  static const std::regex form(
      R"((\d{4})-(\d\d)-(\d\d)T(\d\d):(\d\d):(\d\d)(\.\d+)?(Z|[-+](\d\d):?(\d\d)))");
  std::smatch parts;
  if (text.size() > kLongest || !std::regex_match(text, parts, form)) return std::nullopt;
  const auto number = [&](std::size_t i) { return parts[i].matched ? std::stoi(parts[i]) : 0; };
  const int month = number(2);
  if (month < 1 || month > 12 || number(3) < 1 || number(3) > DaysOf(month, number(1))) {
    return std::nullopt;
  }
  if (number(4) > 23 || number(5) > 59 || number(6) > 59) return std::nullopt;
  if (number(9) > 14 || number(10) > 59) return std::nullopt;
  std::string valid = text;
  const bool colonMissing = parts[9].matched && parts[8].length() == 5;
  if (colonMissing) valid.insert(valid.size() - 2, ":");
  return valid;
}

bool IsOffset(const std::string& text) { return Fits(text, "[-+][0-1][0-9]:[0-5][0-9]"); }

bool IsDuration(const std::string& text) {
  return Fits(text, R"(P(\d+D)?(T(\d+H)?(\d+M)?(\d+(\.\d+)?S)?)?)");
}

bool IsUuid(const std::string& text) {
  return Fits(text, "[0-9a-fA-F]{8}-([0-9a-fA-F]{4}-){3}[0-9a-fA-F]{12}");
}

bool IsUri(const std::string& text) {
  static const std::string kMarks = "-._~:/?#[]@!$&'()*+,;=%";
  for (const char c : text) {
    const bool letterOrDigit =
        (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (!letterOrDigit && kMarks.find(c) == std::string::npos) return false;
  }
  return true;
}

}  // namespace cloudservice
