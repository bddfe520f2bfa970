// SPDX-License-Identifier: Apache-2.0
// The event loop, and the thread that runs it.
#include "host/util/EventThread.h"

#include <unistd.h>

#include <algorithm>

#include "host/util/Clock.h"
#include "host/util/ExceptionText.h"
#include "host/util/Log.h"
#include "host/util/QuietThread.h"

namespace host {
namespace {

constexpr useconds_t kRetryPauseUs = 10000;

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

void EventLoop::Wake() { m_wake.Give(); }

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
  if (wait.Ready(m_wake.Get())) m_wake.Take();

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
