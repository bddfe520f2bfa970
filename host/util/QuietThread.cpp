// SPDX-License-Identifier: Apache-2.0
// Starting a thread that takes no signals.
#include "host/util/QuietThread.h"

#include <pthread.h>
#include <signal.h>

#include <utility>

namespace host {
namespace {

// Blocks every signal for the calling thread, which the threads that it starts inherit.
class BlockedSignals {
 public:
  BlockedSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &m_before);
  }
  ~BlockedSignals() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

 private:
  sigset_t m_before = {};
};

}  // namespace

std::thread StartQuietThread(std::function<void()> body) {
  const BlockedSignals blocked;
  return std::thread(std::move(body));
}

}  // namespace host
