// SPDX-License-Identifier: Apache-2.0
#ifndef FAKES_PROCESS_H_
#define FAKES_PROCESS_H_

#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <vector>

namespace fakes {

// Thrown by a test's hook to leave a loop that does not end by itself.
struct Leave {};

// What `time` and `clock_gettime` answer. Each sleep moves the monotonic clock on.
struct Clock {
  time_t now = 1772716029;  // 2026-03-05T13:07:09Z
  uint64_t monotonicUs = 4711000000;
};

// `sleep` and `usleep` return at once.
struct Sleeps {
  std::vector<uint64_t> microseconds;  // each sleep, in order
  // Called after the recording, with the duration; may throw.
  std::function<void(uint64_t)> hook;
  // So many sleeps mean that a loop was not left: the process is aborted.
  size_t limit = 10000;

  // Leaves the loop by throwing when `count` sleeps were recorded.
  void LeaveAfter(size_t count);
};

struct Thread {
  void* (*body)(void*);
  void* argument;
  pthread_t handle;
  int joins;
};

// `pthread_create` and `pthread_join`.
struct Threads {
  enum class Mode {
    kRecord,      // a thread is recorded and does not run
    kRunInPlace,  // its body runs before pthread_create returns; Leave ends it
    kReal,        // it is a real thread
  };
  Mode mode = Mode::kRecord;
  // What creation answers: each, and by number of the attempt (from 0). A failed one leaves
  // rubbish in the handle.
  int createStatus = 0;
  std::map<size_t, int> createStatusOf;
  int joinStatus = 0;

  size_t attempts = 0;
  std::vector<Thread> created;    // in order, without those that failed
  std::vector<pthread_t> joined;  // each argument of pthread_join

  // Runs the body of a created thread on this one until it returns or Leave is thrown. True when
  // it returned; its result in `result`.
  bool Run(size_t index, void** result = nullptr);
};

}  // namespace fakes

#endif  // FAKES_PROCESS_H_
