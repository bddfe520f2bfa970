// SPDX-License-Identifier: Apache-2.0
// A mutex that clang's thread analysis knows: lint refuses a use of what it guards without it.
#ifndef HOST_UTIL_MUTEX_H_
#define HOST_UTIL_MUTEX_H_

#include <condition_variable>
#include <mutex>

// To other compilers they say nothing.
#ifdef __clang__
#define HOST_THREAD_ANALYSIS(attribute) __attribute__((attribute))
#else
#define HOST_THREAD_ANALYSIS(attribute)
#endif

// On a member: used under that mutex only.
#define GUARDED_BY(mutex) HOST_THREAD_ANALYSIS(guarded_by(mutex))
// On a mutex: never taken under that other one.
#define ACQUIRED_BEFORE(mutex) HOST_THREAD_ANALYSIS(acquired_before(mutex))
// On an operation: called under that mutex, and called without it.
#define REQUIRES(mutex) HOST_THREAD_ANALYSIS(requires_capability(mutex))
#define EXCLUDES(mutex) HOST_THREAD_ANALYSIS(locks_excluded(mutex))

namespace host {

class HOST_THREAD_ANALYSIS(capability("mutex")) Mutex {
 public:
  void Lock() HOST_THREAD_ANALYSIS(acquire_capability()) { m_mutex.lock(); }
  void Unlock() HOST_THREAD_ANALYSIS(release_capability()) { m_mutex.unlock(); }

 private:
  friend class Condition;

  std::mutex m_mutex;
};

// Holds a mutex as long as it lives.
class HOST_THREAD_ANALYSIS(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) HOST_THREAD_ANALYSIS(acquire_capability(mutex))
      : m_mutex(mutex) {
    m_mutex.Lock();
  }
  ~MutexLock() HOST_THREAD_ANALYSIS(release_capability()) { m_mutex.Unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& m_mutex;
};

// What threads that hold a mutex wait for.
class Condition {
 public:
  // Releases the mutex while it waits. May return without a notification.
  void Wait(Mutex& mutex) REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex.m_mutex, std::adopt_lock);
    m_condition.wait(lock);
    lock.release();
  }
  void NotifyAll() { m_condition.notify_all(); }

 private:
  std::condition_variable m_condition;
};

}  // namespace host

#endif  // HOST_UTIL_MUTEX_H_
