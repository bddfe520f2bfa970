// SPDX-License-Identifier: Apache-2.0
// What the host and the map's loader would log is told as the program's own words: this stands in
// for the log by the linker's --wrap.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "ctl/Output.h"

namespace {

constexpr int kWarning = 4;

}  // namespace

extern "C" void WrappedLog(int level, const char* unit, const char* format,
                           ...) __asm__("__wrap__Z13__dlog_printfiPKcS0_z");

extern "C" void WrappedLog(int level, const char* /*unit*/, const char* format, ...) {
  if (level > kWarning) return;
  va_list arguments;
  va_start(arguments, format);
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) >= 0) {
    ctl::Complain(text);
    free(text);
  }
  va_end(arguments);
}
