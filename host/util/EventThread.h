// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_EVENTTHREAD_H_
#define HOST_UTIL_EVENTTHREAD_H_

#include <cstdint>
#include <vector>

#include "host/util/Fd.h"
#include "host/util/Mutex.h"
#include "host/util/Wait.h"
#include "host/util/WakeUp.h"

namespace host {

// Something that an event loop serves. Both operations run on the loop's thread, must not block
// and must not add or remove sources.
class EventSource {
 public:
  virtual ~EventSource() = default;
  virtual void Want(Wait& wait) = 0;
  virtual void Serve(const Wait& wait, int64_t nowMs) = 0;
};

// Serves sources one after the other. Sources are borrowed. An exception, from a source or for lack
// of memory, is logged and ends neither the loop nor the thread.
class EventLoop {
 public:
  // Any thread, but none that is inside a source. Once `Remove` has returned the source is not
  // being served and will not be.
  void Add(EventSource* source);
  void Remove(EventSource* source);

  // Makes a waiting turn ask the sources again. Any thread.
  void Wake();

  // One turn: waits for what the sources want, at most `limitMs` (-1: without end), and serves
  // them. Throws nothing.
  void RunOnce(int limitMs);

 private:
  void Turn(int limitMs);

  WakeUp m_wake;
  Mutex m_mutex;  // held while sources are asked and served
  std::vector<EventSource*> m_sources GUARDED_BY(m_mutex);
  unsigned long m_generation GUARDED_BY(m_mutex) = 0;
};

// Starts a thread with every signal blocked that runs `loop` until the process ends. Throws when
// there can be no thread.
void StartEventThread(EventLoop& loop);

}  // namespace host

#endif  // HOST_UTIL_EVENTTHREAD_H_
