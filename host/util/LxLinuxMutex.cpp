// SPDX-License-Identifier: Apache-2.0
// A mutex that reports misuse.
#include "platform/util/LxLinuxMutex.h"

#include <pthread.h>

struct LxLinuxMutex::Impl {
  pthread_mutex_t mutex;
};

LxLinuxMutex::LxLinuxMutex() : m_impl(new Impl) {
  // Locking it twice and unlocking another thread's become error numbers instead of a hang.
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
  pthread_mutex_init(&m_impl->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

LxLinuxMutex::~LxLinuxMutex() {
  pthread_mutex_destroy(&m_impl->mutex);
  delete m_impl;
}

unsigned int LxLinuxMutex::Lock() {
  return static_cast<unsigned int>(pthread_mutex_lock(&m_impl->mutex));
}

unsigned int LxLinuxMutex::Unlock() {
  return static_cast<unsigned int>(pthread_mutex_unlock(&m_impl->mutex));
}
