// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_FRAMEWORK_SIGNALWATCH_H_
#define HOST_FRAMEWORK_SIGNALWATCH_H_

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <functional>

#include "host/util/EventThread.h"
#include "host/util/Fd.h"
#include "host/util/Mutex.h"

namespace host {

// Blocks SIGTERM, SIGINT and SIGHUP on the calling thread, and so on those that it starts: they are
// read by the event thread. SIGURG then interrupts a sleep and does nothing else, and SIGPIPE is
// only remembered.
void PrepareSignals();

// Whether SIGPIPE came since the last call.
bool TakeSigPipe();

// Serves the signals. SIGTERM and SIGINT ask for a stop; a second one, and 60 s in which the
// application has not stopped, end the process at once. SIGHUP asks for the configuration to be
// read again.
class SignalWatch : public EventSource {
 public:
  struct Actions {
    std::function<void()> reload;
    std::function<void()> stopping;   // after the first request
    std::function<void()> interrupt;  // ends what the main thread sleeps in
    std::function<void(int)> endNow;  // with the exit status
  };

  // Before the first thread is started.
  explicit SignalWatch(Actions actions);

  // True once a stop was asked for. Any thread.
  bool IsStop() const { return m_stop; }

  // While the main thread runs the application, a request to stop interrupts it every 50 ms: one
  // interrupt alone may come just before a sleep begins, and would not end it. Main thread. None
  // comes after `RunEnds` has returned.
  void RunBegins();
  void RunEnds();
  // The application and its threads are gone: the end of the process has no time limit. Main
  // thread.
  void Stopped() { m_stopped = true; }

  void Want(Wait& wait) override;
  void Serve(const Wait& wait, int64_t nowMs) override;

  // What `Serve` consists of.
  void OnSignal(int signal, int64_t nowMs);
  void OnTime(int64_t nowMs);

 private:
  const Actions m_actions;
  Fd m_signals;
  std::atomic<bool> m_stop{false};
  std::atomic<bool> m_stopped{false};
  int64_t m_stopMs = 0;           // event thread only
  int64_t m_nextInterruptMs = 0;  // event thread only
  Mutex m_mutex;
  bool m_running GUARDED_BY(m_mutex) = false;
};

}  // namespace host

#endif  // HOST_FRAMEWORK_SIGNALWATCH_H_
