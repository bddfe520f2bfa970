// SPDX-License-Identifier: Apache-2.0
// The log of cloudclientctl: what the host and the map loader log is printed as an error.
#include "platform/util/dlog.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

#include "ctl/Output.h"

namespace {

constexpr int kWarning = 4;

}  // namespace

void __dlog_printf(int level, const char* /*unit*/, const char* format, ...) {
  if (level > kWarning) return;
  const int savedErrno = errno;
  va_list arguments;
  va_start(arguments, format);
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) >= 0) {
    ctl::PrintError(text);
    free(text);
  }
  va_end(arguments);
  errno = savedErrno;
}
