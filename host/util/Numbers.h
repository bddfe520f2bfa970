// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_NUMBERS_H_
#define HOST_UTIL_NUMBERS_H_

#include <string>

namespace host {

// The decimal number that fills the whole text ("-3", "23.5", "1e3"); false when it is none.
bool ParseNumber(const std::string& text, double& number);

// `number` with that many digits after the point; never "-0".
std::string NumberText(double number, int decimals);

}  // namespace host

#endif  // HOST_UTIL_NUMBERS_H_
