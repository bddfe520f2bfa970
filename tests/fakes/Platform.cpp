// SPDX-License-Identifier: Apache-2.0
#include "fakes/Platform.h"

#include <cstdlib>

namespace fakes {

// Never destroyed: objects of the code under test may outlive everything else.
Platform& platform() {
  static Platform* const instance = new Platform;
  return *instance;
}

std::recursive_mutex& RecordMutex() {
  static std::recursive_mutex* const mutex = new std::recursive_mutex;
  return *mutex;
}

void Reset() {
  platform() = Platform();
  SetTimeZone("UTC0");
}

void SetTimeZone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

}  // namespace fakes
