// SPDX-License-Identifier: Apache-2.0
// The text of the exception at hand.
#ifndef HOST_UTIL_EXCEPTIONTEXT_H_
#define HOST_UTIL_EXCEPTIONTEXT_H_

#include <exception>

namespace host {

// What the exception says that is being handled; for use inside a catch clause, within which the
// text lives. Takes no memory: the exception may be the want of it.
inline const char* ExceptionText() noexcept {
  constexpr const char* kWithoutText = "an exception without a text";
  try {
    throw;
  } catch (const std::exception& error) {
    return *error.what() != '\0' ? error.what() : kWithoutText;
  } catch (...) {
    return kWithoutText;
  }
}

}  // namespace host

#endif  // HOST_UTIL_EXCEPTIONTEXT_H_
