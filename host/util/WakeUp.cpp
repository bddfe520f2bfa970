// SPDX-License-Identifier: Apache-2.0
// Waking a thread that waits for descriptors.
#include "host/util/WakeUp.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "host/util/Log.h"

namespace host {

WakeUp::WakeUp() : m_fd(Needed(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {}

void WakeUp::Give() const {
  // A thread that is not woken may sleep for ever: one refusal must not lead to that.
  constexpr int kTries = 100;
  const uint64_t one = 1;
  for (int tries = 0; tries < kTries; ++tries) {
    // A count that is full wakes as well.
    if (write(m_fd.Get(), &one, sizeof(one)) >= 0 || errno == EAGAIN) return;
  }
  HOST_LOG(3, "a thread is not woken: %s", strerror(errno));
}

void WakeUp::Take() const {
  uint64_t count = 0;
  while (read(m_fd.Get(), &count, sizeof(count)) > 0) {
  }
}

}  // namespace host
