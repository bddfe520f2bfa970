// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_WAKEUP_H_
#define HOST_UTIL_WAKEUP_H_

#include "host/util/Fd.h"

namespace host {

// Wakes a thread that waits for descriptors. Any thread.
class WakeUp {
 public:
  // Throws std::system_error when there is no descriptor.
  WakeUp();

  // Can be read from after Give(), until Take().
  int Get() const { return m_fd.Get(); }
  // Tries again where the system refuses; logs when it goes on to.
  void Give() const;
  // Never blocks, also when several take at once.
  void Take() const;

 private:
  const Fd m_fd;
};

}  // namespace host

#endif  // HOST_UTIL_WAKEUP_H_
