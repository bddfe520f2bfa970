// SPDX-License-Identifier: Apache-2.0
// What an exception that nobody catches comes to.
#include "host/util/UncaughtException.h"

#include <unistd.h>

#include <cstdlib>
#include <exception>

#include "host/util/ExceptionText.h"
#include "host/util/Log.h"

namespace host {
namespace {

[[noreturn]] void End() {
  if (std::current_exception() == nullptr) abort();
  HOST_LOG(3, "ended by an exception that nobody caught: %s", ExceptionText());
  _exit(1);
}

}  // namespace

void EndOnUncaughtException() { std::set_terminate(&End); }

}  // namespace host
