// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <thread>

#include "HostTest.h"
#include "Scarcity.h"
#include "host/util/Clock.h"
#include "host/util/EventThread.h"

using EventLoopTest = HostTest;

namespace {

// Reads bytes from a pipe.
class PipeSource : public host::EventSource {
 public:
  PipeSource() {
    int ends[2] = {};
    if (pipe(ends) != 0) throw std::runtime_error("pipe");
    m_read = host::Fd(ends[0]);
    m_write = host::Fd(ends[1]);
  }
  void Put(char byte) const { EXPECT_EQ(write(m_write.Get(), &byte, 1), 1); }
  void Want(host::Wait& wait) override { wait.ForRead(m_read.Get()); }
  void Serve(const host::Wait& wait, int64_t /*nowMs*/) override {
    ++turns;
    if (!wait.Ready(m_read.Get())) return;
    char byte = 0;
    EXPECT_EQ(read(m_read.Get(), &byte, 1), 1);
    if (byte == 'x') throw std::runtime_error("x came");
    ++got;
  }
  std::atomic<int> turns{0};
  std::atomic<int> got{0};

 private:
  host::Fd m_read;
  host::Fd m_write;
};

}  // namespace

TEST_F(EventLoopTest, Source_is_served_when_its_descriptor_is_ready) {
  host::EventLoop loop;
  PipeSource one;
  PipeSource other;
  loop.Add(&one);
  loop.Add(&other);
  loop.RunOnce(0);
  EXPECT_EQ(one.got, 0);
  one.Put('a');
  loop.RunOnce(-1);
  EXPECT_EQ(one.got, 1);
  EXPECT_EQ(other.got, 0);
}

TEST_F(EventLoopTest, Removed_source_is_served_no_more) {
  host::EventLoop loop;
  PipeSource source;
  loop.Add(&source);
  loop.Remove(&source);
  source.Put('a');
  loop.RunOnce(0);
  EXPECT_EQ(source.turns, 0);
}

TEST_F(EventLoopTest, Exception_of_a_source_is_logged_and_the_others_are_served) {
  host::EventLoop loop;
  PipeSource one;
  PipeSource other;
  loop.Add(&one);
  loop.Add(&other);
  one.Put('x');
  other.Put('a');
  loop.RunOnce(-1);
  EXPECT_EQ(other.got, 1);
  EXPECT_EQ(LogCount("the event thread goes on after: x came"), 1);
}

TEST_F(EventLoopTest, Failure_to_ask_a_source_is_logged_and_the_others_are_served) {
  class Failing : public host::EventSource {
   public:
    void Want(host::Wait& /*wait*/) override { throw 7; }
    void Serve(const host::Wait& /*wait*/, int64_t /*nowMs*/) override { ++turns; }
    int turns = 0;
  } failing;
  host::EventLoop loop;
  PipeSource other;
  loop.Add(&failing);
  loop.Add(&other);
  other.Put('a');
  loop.RunOnce(-1);
  EXPECT_EQ(other.got, 1);
  loop.RunOnce(-1);  // asked again, though it could not say what it waits for
  EXPECT_EQ(failing.turns, 2);
  EXPECT_EQ(LogCount("3 Host the event thread goes on after: an exception without a text"), 2);
}

TEST_F(EventLoopTest, Want_of_memory_ends_no_turn) {
  host::EventLoop loop;
  PipeSource source;
  loop.Add(&source);
  int allocation = 0;
  for (bool failed = true; failed; ++allocation) {
    const FailingMemory memory(allocation);
    EXPECT_NO_THROW(loop.RunOnce(0));
    failed = memory.Failed();
  }
  EXPECT_GT(allocation, 2);
  EXPECT_EQ(LogCount("the event thread goes on after: std::bad_alloc"), allocation - 1);
  source.Put('a');
  loop.RunOnce(-1);
  EXPECT_EQ(source.got, 1);
}

TEST_F(EventLoopTest, Time_that_was_asked_for_ends_the_wait) {
  host::Wait wait;
  wait.Until(host::MonotonicMs() + 1000000);
  wait.Until(host::MonotonicMs() - 5);
  wait.Until(host::MonotonicMs() + 2000000);
  EXPECT_TRUE(wait.Poll(-1));
}

TEST_F(EventLoopTest, Descriptor_that_was_not_asked_for_is_not_ready) {
  host::Wait wait;
  wait.ForRead(STDIN_FILENO);
  EXPECT_FALSE(wait.Ready(STDIN_FILENO));
  EXPECT_FALSE(wait.Ready(77));
}

TEST_F(EventLoopTest, Sources_may_come_and_go_while_the_thread_runs) {
  static auto* loop = new host::EventLoop;  // its thread runs until the process ends
  host::StartEventThread(*loop);
  for (int i = 0; i < 50; ++i) {
    PipeSource source;
    loop->Add(&source);
    source.Put('a');
    EXPECT_TRUE(Await([&] { return source.got == 1; }));
    loop->Remove(&source);
  }
}
