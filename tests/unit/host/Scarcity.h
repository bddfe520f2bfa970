// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_HOST_SCARCITY_H_
#define TESTS_UNIT_HOST_SCARCITY_H_

#include <pthread.h>

// While it lives, the calling thread's allocation of that number fails (0: the next one), once.
class FailingMemory {
 public:
  explicit FailingMemory(int allocation);
  ~FailingMemory();
  FailingMemory(const FailingMemory&) = delete;
  FailingMemory& operator=(const FailingMemory&) = delete;

  // Whether it came to that allocation.
  bool Failed() const;
};

// The same for what jansson takes, on any thread.
class FailingJson {
 public:
  explicit FailingJson(int allocation);
  ~FailingJson();
  FailingJson(const FailingJson&) = delete;
  FailingJson& operator=(const FailingJson&) = delete;

  bool Failed() const;
};

// While it lives, no thread can be started.
class NoThreads {
 public:
  NoThreads();
  ~NoThreads();
  NoThreads(const NoThreads&) = delete;
  NoThreads& operator=(const NoThreads&) = delete;

 private:
  pthread_attr_t m_before;
};

#endif  // TESTS_UNIT_HOST_SCARCITY_H_
