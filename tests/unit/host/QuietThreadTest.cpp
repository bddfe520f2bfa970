// SPDX-License-Identifier: Apache-2.0
#include <signal.h>

#include <system_error>

#include "HostTest.h"
#include "Scarcity.h"
#include "host/util/QuietThread.h"

using QuietThreadTest = HostTest;

namespace {

// Which of the signals that may be blocked are.
std::vector<int> Blocked() {
  sigset_t set;
  pthread_sigmask(SIG_BLOCK, nullptr, &set);
  std::vector<int> signals;
  for (int signal = 1; signal < 32; ++signal) {
    if (sigismember(&set, signal) == 1) signals.push_back(signal);
  }
  return signals;
}

}  // namespace

TEST_F(QuietThreadTest, Its_signals_are_blocked_and_the_callers_as_before) {
  const std::vector<int> before = Blocked();
  std::vector<int> inside;
  host::StartQuietThread([&] { inside = Blocked(); }).join();
  EXPECT_EQ(inside.size(), 29u);  // all but SIGKILL and SIGSTOP
  EXPECT_EQ(Blocked(), before);
}

TEST_F(QuietThreadTest, Thread_that_cannot_be_started_leaves_the_callers_signals) {
  const std::vector<int> before = Blocked();
  const NoThreads none;
  EXPECT_THROW(host::StartQuietThread([] {}), std::system_error);
  EXPECT_EQ(Blocked(), before);
  EXPECT_LT(before.size(), 29u);
}
