// SPDX-License-Identifier: Apache-2.0
// Decimal numbers and their texts.
#include "host/util/Numbers.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace host {

bool ParseNumber(const std::string& text, double& number) {
  // strtod alone would take blanks, "nan", "inf" and hexadecimal digits as well.
  if (text.empty() || text.find_first_not_of("0123456789+-.eE") != std::string::npos) return false;
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (end != text.c_str() + text.size() || !std::isfinite(value)) return false;
  number = value;
  return true;
}

std::string NumberText(double number, int decimals) {
  char text[400];
  snprintf(text, sizeof(text), "%.*f", decimals, number);
  const std::string result(text);
  const bool zero = result.find_first_not_of("-0.") == std::string::npos;
  return zero && result.front() == '-' ? result.substr(1) : result;
}

}  // namespace host
