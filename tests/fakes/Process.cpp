// SPDX-License-Identifier: Apache-2.0
#include "fakes/Process.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "fakes/Platform.h"

extern "C" {
int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument);
int __real_pthread_join(pthread_t thread, void** result);

unsigned int __wrap_sleep(unsigned int seconds);
int __wrap_usleep(useconds_t microseconds);
time_t __wrap_time(time_t* result);
int __wrap_clock_gettime(clockid_t clock, struct timespec* result);
int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument);
int __wrap_pthread_join(pthread_t thread, void** result);
}

namespace fakes {
namespace {

constexpr pthread_t kFirstHandle = 1001;
constexpr pthread_t kRubbishHandle = 0xDEAD;

void Slept(uint64_t microseconds) {
  std::function<void(uint64_t)> hook;
  {
    const RecordLock lock(RecordMutex());
    Sleeps& sleeps = platform().sleeps;
    sleeps.microseconds.push_back(microseconds);
    platform().clock.monotonicUs += microseconds;
    if (sleeps.microseconds.size() >= sleeps.limit) {
      fprintf(stderr, "fakes: %zu sleeps: a loop was not left\n", sleeps.limit);
      abort();
    }
    hook = sleeps.hook;
  }
  if (hook) hook(microseconds);
}

int CreateStatus(Threads& threads) {
  const auto scripted = threads.createStatusOf.find(threads.attempts++);
  return scripted == threads.createStatusOf.end() ? threads.createStatus : scripted->second;
}

}  // namespace

void Sleeps::LeaveAfter(size_t count) {
  hook = [count](uint64_t) {
    if (platform().sleeps.microseconds.size() >= count) throw Leave();
  };
}

bool Threads::Run(size_t index, void** result) {
  const Thread thread = created.at(index);
  try {
    void* const returned = thread.body(thread.argument);
    if (result != nullptr) *result = returned;
    return true;
  } catch (const Leave&) {
    return false;
  }
}

}  // namespace fakes

unsigned int __wrap_sleep(unsigned int seconds) {
  fakes::Slept(static_cast<uint64_t>(seconds) * 1000000);
  return 0;
}

int __wrap_usleep(useconds_t microseconds) {
  fakes::Slept(microseconds);
  return 0;
}

time_t __wrap_time(time_t* result) {
  const fakes::RecordLock lock(fakes::RecordMutex());
  const time_t now = fakes::platform().clock.now;
  if (result != nullptr) *result = now;
  return now;
}

int __wrap_clock_gettime(clockid_t clock, struct timespec* result) {
  const fakes::RecordLock lock(fakes::RecordMutex());
  const fakes::Clock& fake = fakes::platform().clock;
  const uint64_t now =
      clock == CLOCK_MONOTONIC ? fake.monotonicUs : static_cast<uint64_t>(fake.now) * 1000000;
  result->tv_sec = static_cast<time_t>(now / 1000000);
  result->tv_nsec = static_cast<long>(now % 1000000 * 1000);
  return 0;
}

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                          void* argument) {
  fakes::Threads& threads = fakes::platform().threads;
  size_t index = 0;
  {
    const fakes::RecordLock lock(fakes::RecordMutex());
    const int status = fakes::CreateStatus(threads);
    if (status != 0) {
      *thread = fakes::kRubbishHandle;
      return status;
    }
    *thread = fakes::kFirstHandle + threads.created.size();
    if (threads.mode == fakes::Threads::Mode::kReal) {
      const int created = __real_pthread_create(thread, attributes, body, argument);
      if (created != 0) return created;
    }
    index = threads.created.size();
    threads.created.push_back({body, argument, *thread, 0});
  }
  if (threads.mode == fakes::Threads::Mode::kRunInPlace) threads.Run(index);
  return 0;
}

int __wrap_pthread_join(pthread_t thread, void** result) {
  fakes::Threads& threads = fakes::platform().threads;
  {
    const fakes::RecordLock lock(fakes::RecordMutex());
    threads.joined.push_back(thread);
    for (fakes::Thread& created : threads.created) {
      if (created.handle == thread) ++created.joins;
    }
  }
  if (threads.mode == fakes::Threads::Mode::kReal) return __real_pthread_join(thread, result);
  if (result != nullptr) *result = nullptr;
  return threads.joinStatus;
}
