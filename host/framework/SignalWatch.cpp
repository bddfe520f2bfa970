// SPDX-License-Identifier: Apache-2.0
// Signals: stop, end at once, read the configuration again.
#include "host/framework/SignalWatch.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <utility>

#include "host/util/Log.h"

namespace host {
namespace {

constexpr int64_t kInterruptMs = 50;
constexpr int64_t kStopMs = 60000;

std::atomic<bool> g_sigPipe{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler writes it");

void OnSigPipe(int /*signal*/) { g_sigPipe = true; }
void OnSigUrg(int /*signal*/) {}

sigset_t WatchedSignals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGHUP);
  return set;
}

void Handle(int signal, void (*handler)(int), int flags) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

}  // namespace

void PrepareSignals() {
  const sigset_t set = WatchedSignals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
  Handle(SIGPIPE, &OnSigPipe, SA_RESTART);
  Handle(SIGURG, &OnSigUrg, 0);  // without SA_RESTART: it is there to interrupt
}

bool TakeSigPipe() { return g_sigPipe.exchange(false); }

SignalWatch::SignalWatch(Actions actions) : m_actions(std::move(actions)) {
  const sigset_t set = WatchedSignals();
  m_signals = Needed(signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd");
}

void SignalWatch::RunBegins() {
  const MutexLock guard(m_mutex);
  m_running = true;
}

void SignalWatch::RunEnds() {
  const MutexLock guard(m_mutex);
  m_running = false;
}

void SignalWatch::Want(Wait& wait) {
  wait.ForRead(m_signals.Get());
  if (!m_stop || m_stopped) return;
  wait.Until(m_stopMs + kStopMs);
  wait.Until(m_nextInterruptMs);
}

void SignalWatch::Serve(const Wait& wait, int64_t nowMs) {
  if (wait.Ready(m_signals.Get())) {
    struct signalfd_siginfo info = {};
    while (read(m_signals.Get(), &info, sizeof(info)) == static_cast<ssize_t>(sizeof(info))) {
      OnSignal(static_cast<int>(info.ssi_signo), nowMs);
    }
  }
  OnTime(nowMs);
}

void SignalWatch::OnSignal(int signal, int64_t nowMs) {
  if (signal == SIGHUP) {
    m_actions.reload();
    HOST_LOG(5, "SIGHUP: the configuration is read again");
    return;
  }
  const char* name = signal == SIGTERM ? "SIGTERM" : "SIGINT";
  if (m_stop) {
    // Before the end, for no line comes after it; the log's bounded wait is all that this can cost.
    HOST_LOG(3, "%s while stopping: ended at once", name);
    m_actions.endNow(1);
    return;
  }
  m_stopMs = nowMs;
  m_nextInterruptMs = nowMs;
  m_stop = true;
  m_actions.stopping();
  HOST_LOG(5, "%s: stopping", name);
}

void SignalWatch::OnTime(int64_t nowMs) {
  if (!m_stop || m_stopped) return;
  if (nowMs - m_stopMs >= kStopMs) {
    HOST_LOG(3, "not stopped within 60 s: ended at once");
    m_actions.endNow(1);
    return;
  }
  if (nowMs < m_nextInterruptMs) return;
  m_nextInterruptMs = nowMs + kInterruptMs;
  const MutexLock guard(m_mutex);
  if (m_running) m_actions.interrupt();
}

}  // namespace host
