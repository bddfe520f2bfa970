// SPDX-License-Identifier: Apache-2.0
#include <csignal>
#include <new>
#include <thread>

#include "HostTest.h"
#include "host/util/UncaughtException.h"

using testing::ExitedWithCode;
using testing::KilledBySignal;

typedef HostTest UncaughtExceptionTest;

TEST_F(UncaughtExceptionTest, Of_any_thread_ends_the_process_with_a_message_and_status_1) {
  const auto run = [] {
    host::EndOnUncaughtException();
    std::thread([] { throw std::bad_alloc(); }).join();
  };
  EXPECT_EXIT(run(), ExitedWithCode(1),
              "3 Host ended by an exception that nobody caught: std::bad_alloc\n$");
}

TEST_F(UncaughtExceptionTest, That_is_no_exceptions_object_is_told_too) {
  const auto run = [] {
    host::EndOnUncaughtException();
    std::thread([] { throw 7; }).join();
  };
  EXPECT_EXIT(run(), ExitedWithCode(1), "nobody caught: an exception without a text\n$");
}

TEST_F(UncaughtExceptionTest, What_ends_the_process_without_one_aborts_it) {
  const auto run = [] {
    host::EndOnUncaughtException();
    std::terminate();
  };
  EXPECT_EXIT(run(), KilledBySignal(SIGABRT), "");
}
