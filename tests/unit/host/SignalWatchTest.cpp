// SPDX-License-Identifier: Apache-2.0
#include <signal.h>

#include "HostTest.h"
#include "host/framework/SignalWatch.h"

namespace {

class SignalWatchTest : public HostTest {
 protected:
  int m_reloads = 0;
  int m_stoppings = 0;
  int m_interrupts = 0;
  std::vector<int> m_ends;
  host::SignalWatch m_watch{{[this] { ++m_reloads; }, [this] { ++m_stoppings; },
                             [this] { ++m_interrupts; },
                             [this](int status) { m_ends.push_back(status); }}};
};

}  // namespace

TEST_F(SignalWatchTest, First_request_stops) {
  EXPECT_FALSE(m_watch.IsStop());
  m_watch.OnSignal(SIGTERM, 1000);
  EXPECT_TRUE(m_watch.IsStop());
  EXPECT_EQ(m_stoppings, 1);
  EXPECT_THAT(m_ends, testing::IsEmpty());
  EXPECT_EQ(LogCount("5 Host SIGTERM: stopping"), 1);
}

TEST_F(SignalWatchTest, Request_counts_before_its_line_is_written) {
  bool stopped = false;
  host::SignalWatch* self = nullptr;
  host::SignalWatch watch({[] {},
                           [&] {
                             stopped = self->IsStop();
                             EXPECT_EQ(Log(), "");
                           },
                           [] {}, [](int) {}});
  self = &watch;
  watch.OnSignal(SIGTERM, 1000);
  EXPECT_TRUE(stopped);
  EXPECT_EQ(LogCount("SIGTERM: stopping"), 1);
}

TEST_F(SignalWatchTest, Configuration_is_read_before_the_line_is_written) {
  int reloads = 0;
  host::SignalWatch watch({[&] {
                             ++reloads;
                             EXPECT_EQ(Log(), "");
                           },
                           [] {}, [] {}, [](int) {}});
  watch.OnSignal(SIGHUP, 0);
  EXPECT_EQ(reloads, 1);
  EXPECT_EQ(LogCount("5 Host SIGHUP: the configuration is read again"), 1);
}

TEST_F(SignalWatchTest, Second_request_ends_with_status_1) {
  m_watch.OnSignal(SIGINT, 1000);
  m_watch.OnSignal(SIGTERM, 1001);
  EXPECT_THAT(m_ends, testing::ElementsAre(1));
  EXPECT_EQ(m_stoppings, 1);
  EXPECT_EQ(LogCount("5 Host SIGINT: stopping"), 1);
  EXPECT_EQ(LogCount("3 Host SIGTERM while stopping: ended at once"), 1);
}

TEST_F(SignalWatchTest, End_comes_after_its_line) {
  int ends = 0;
  host::SignalWatch watch({[] {}, [] {}, [] {},
                           [&](int) {
                             ++ends;
                             EXPECT_EQ(LogCount("ended at once"), ends);
                           }});
  watch.OnSignal(SIGTERM, 0);
  watch.OnSignal(SIGINT, 0);
  watch.OnTime(60000);
  EXPECT_EQ(ends, 2);
}

TEST_F(SignalWatchTest, A_minute_without_an_end_ends_with_status_1) {
  m_watch.OnSignal(SIGTERM, 1000);
  m_watch.OnTime(60999);
  EXPECT_THAT(m_ends, testing::IsEmpty());
  m_watch.OnTime(61000);
  EXPECT_THAT(m_ends, testing::ElementsAre(1));
  EXPECT_EQ(LogCount("3 Host not stopped within 60 s: ended at once"), 1);
}

TEST_F(SignalWatchTest, Minute_is_watched_over_after_the_run_as_well) {
  m_watch.RunBegins();
  m_watch.OnSignal(SIGTERM, 0);
  m_watch.RunEnds();
  m_watch.OnTime(60000);
  EXPECT_THAT(m_ends, testing::ElementsAre(1));
}

TEST_F(SignalWatchTest, What_has_stopped_may_take_longer_to_end) {
  m_watch.OnSignal(SIGTERM, 0);
  m_watch.Stopped();
  m_watch.OnTime(60000);
  EXPECT_THAT(m_ends, testing::IsEmpty());
  EXPECT_EQ(LogCount("not stopped"), 0);
  m_watch.OnSignal(SIGTERM, 60001);
  EXPECT_THAT(m_ends, testing::ElementsAre(1));
}

TEST_F(SignalWatchTest, Main_thread_is_interrupted_every_50_ms_while_it_runs) {
  m_watch.RunBegins();
  m_watch.OnTime(0);
  EXPECT_EQ(m_interrupts, 0);
  m_watch.OnSignal(SIGTERM, 1000);
  m_watch.OnTime(1000);
  EXPECT_EQ(m_interrupts, 1);
  m_watch.OnTime(1049);
  EXPECT_EQ(m_interrupts, 1);
  m_watch.OnTime(1050);
  EXPECT_EQ(m_interrupts, 2);
  m_watch.RunEnds();
  m_watch.OnTime(1100);
  EXPECT_EQ(m_interrupts, 2);
}

TEST_F(SignalWatchTest, Hangup_reads_the_configuration_again) {
  m_watch.OnSignal(SIGHUP, 0);
  m_watch.OnSignal(SIGHUP, 0);
  EXPECT_EQ(m_reloads, 2);
  EXPECT_FALSE(m_watch.IsStop());
  EXPECT_EQ(LogCount("5 Host SIGHUP: the configuration is read again"), 2);
}

TEST_F(SignalWatchTest, Signals_are_read_from_their_descriptor) {
  host::PrepareSignals();
  kill(getpid(), SIGHUP);
  kill(getpid(), SIGTERM);
  host::EventLoop loop;
  loop.Add(&m_watch);
  loop.RunOnce(-1);
  loop.Remove(&m_watch);
  EXPECT_EQ(m_reloads, 1);
  EXPECT_TRUE(m_watch.IsStop());
}

TEST_F(SignalWatchTest, Broken_pipe_is_remembered_once) {
  host::PrepareSignals();
  EXPECT_FALSE(host::TakeSigPipe());
  int ends[2] = {};
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  EXPECT_EQ(write(ends[1], "x", 1), -1);
  EXPECT_EQ(errno, EPIPE);
  close(ends[1]);
  EXPECT_TRUE(host::TakeSigPipe());
  EXPECT_FALSE(host::TakeSigPipe());
}
