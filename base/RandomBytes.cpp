// SPDX-License-Identifier: Apache-2.0
// The system's random numbers: from the file that also the appliance's older kernel has.
#include "base/RandomBytes.h"

#include <fcntl.h>
#include <unistd.h>

namespace cloudclient {

bool RandomBytes(void* bytes, size_t size) {
  const int source = open("/dev/urandom", O_RDONLY | O_CLOEXEC);
  if (source < 0) return false;
  const bool filled = read(source, bytes, size) == static_cast<ssize_t>(size);
  close(source);
  return filled;
}

}  // namespace cloudclient
