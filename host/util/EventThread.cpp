// SPDX-License-Identifier: Apache-2.0
// The event loop, and the thread that runs it.
#include "host/util/EventThread.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "host/util/Clock.h"
#include "host/util/ExceptionText.h"
#include "host/util/Log.h"
#include "host/util/QuietThread.h"

namespace host {
namespace {

constexpr useconds_t kRetryPauseUs = 10000;

// Two threads may clear the count at once: none of them may block on it.
void Drain(int fd) {
  uint64_t count = 0;
  while (read(fd, &count, sizeof(count)) > 0) {
  }
}

// Whether the step was done. An exception, most likely for lack of memory, is logged and followed
// by a pause: the step may be tried again at once.
template <typename Step>
bool TryStep(Step step) {
  try {
    step();
    return true;
  } catch (...) {
    HOST_LOG(3, "the event thread goes on after: %s", ExceptionText());
  }
  usleep(kRetryPauseUs);
  return false;
}

}  // namespace

EventLoop::EventLoop() : m_wake(Needed(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {}

void EventLoop::Add(EventSource* source) {
  {
    const MutexLock guard(m_mutex);
    m_sources.push_back(source);
    ++m_generation;
  }
  Wake();
}

void EventLoop::Remove(EventSource* source) {
  {
    const MutexLock guard(m_mutex);
    m_sources.erase(std::remove(m_sources.begin(), m_sources.end(), source), m_sources.end());
    ++m_generation;
  }
  Wake();
}

void EventLoop::Wake() {
  const uint64_t one = 1;
  while (write(m_wake.Get(), &one, sizeof(one)) < 0 && errno == EINTR) {
  }
}

void EventLoop::RunOnce(int limitMs) {
  TryStep([&] { Turn(limitMs); });
}

void EventLoop::Turn(int limitMs) {
  Wait wait;
  wait.ForRead(m_wake.Get());
  unsigned long generation = 0;
  {
    const MutexLock guard(m_mutex);
    generation = m_generation;
    for (EventSource* source : m_sources) {
      // A source that could not say all that it wants is asked again soon.
      if (!TryStep([&] { source->Want(wait); })) wait.Until(MonotonicMs());
    }
  }
  if (!wait.Poll(limitMs)) {
    usleep(kRetryPauseUs);  // out of memory: nothing was waited for
    return;
  }
  if (wait.Ready(m_wake.Get())) Drain(m_wake.Get());

  const MutexLock guard(m_mutex);
  // A descriptor that was waited for may be another source's by now.
  if (generation != m_generation) return;
  for (EventSource* source : m_sources) {
    TryStep([&] { source->Serve(wait, MonotonicMs()); });
  }
}

void StartEventThread(EventLoop& loop) {
  StartQuietThread([&loop] {
    for (;;) loop.RunOnce(-1);
  }).detach();
}

}  // namespace host
