// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_UTIL_LXLINUXMUTEX_H_
#define PLATFORM_UTIL_LXLINUXMUTEX_H_

// A mutex that is not recursive. Held by value, neither copied nor moved.
class LxLinuxMutex {
 public:
  LxLinuxMutex();
  ~LxLinuxMutex();
  LxLinuxMutex(const LxLinuxMutex&) = delete;
  LxLinuxMutex& operator=(const LxLinuxMutex&) = delete;

  // 0, or the error number of the operation. `Lock` blocks until the mutex is free.
  unsigned int Lock();
  unsigned int Unlock();

 private:
  struct Impl;
  Impl* m_impl;
};

#endif  // PLATFORM_UTIL_LXLINUXMUTEX_H_
