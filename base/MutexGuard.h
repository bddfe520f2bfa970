// SPDX-License-Identifier: Apache-2.0
#ifndef BASE_MUTEXGUARD_H_
#define BASE_MUTEXGUARD_H_

#include "platform/util/LxLinuxMutex.h"

namespace cloudclient {

// Holds a platform mutex for a scope, when it could be locked.
class MutexGuard {
 public:
  explicit MutexGuard(LxLinuxMutex& mutex) : m_mutex(mutex), m_status(mutex.Lock()) {}
  ~MutexGuard() {
    if (m_status == 0) m_mutex.Unlock();
  }
  MutexGuard(const MutexGuard&) = delete;
  MutexGuard& operator=(const MutexGuard&) = delete;

  // What locking answered: 0 when the mutex is held.
  unsigned int Status() const { return m_status; }

 private:
  LxLinuxMutex& m_mutex;
  const unsigned int m_status;
};

}  // namespace cloudclient

#endif  // BASE_MUTEXGUARD_H_
