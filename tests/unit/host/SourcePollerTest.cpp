// SPDX-License-Identifier: Apache-2.0
#include <sched.h>
#include <sys/eventfd.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>

#include "HostTest.h"
#include "Scarcity.h"
#include "SystemCalls.h"
#include "host/device/SourcePoller.h"
#include "host/util/Clock.h"

namespace {

class SourcePollerTest : public HostTest {
 protected:
  std::string Text(uint16_t point) const {
    std::string text;
    return m_engine.PointText(point, text) ? text : "none";
  }

  // A round of readings, as if it were time for one.
  void Poll() {
    m_nowMs += 5000;
    m_poller.Serve(host::Wait(), m_nowMs);
    EXPECT_TRUE(m_poller.AwaitRound(60000));
  }

  int64_t m_nowMs = 100000;
  host::DeviceEngine m_engine{ModelOf(R"({"PollSeconds": 5, "Points": [
    {"Id": 1, "Decimals": 1, "Source": {"Type": "file", "Path": "/sys/temp", "Scale": 0.001}},
    {"Id": 2, "Source": {"Type": "file", "Path": "/sys/fan"}},
    {"Id": 3, "Value": "set"}]})")};
  host::SourcePoller m_poller{m_engine};
};

}  // namespace

TEST_F(SourcePollerTest, Value_is_the_scaled_number_of_the_file) {
  Write("/sys/temp", "23456\n");
  Write("/sys/fan", " 1200.4 \n");
  Poll();
  EXPECT_EQ(Text(1), "23.5");
  EXPECT_EQ(Text(2), "1200");
  EXPECT_EQ(Text(3), "set");
  Write("/sys/temp", "-51\n");
  Poll();
  EXPECT_EQ(Text(1), "-0.1");
  Write("/sys/temp", "-49\n");
  Poll();
  EXPECT_EQ(Text(1), "0.0");
}

TEST_F(SourcePollerTest, Source_that_fails_costs_one_message_until_it_tells_again) {
  Write("/sys/fan", "1");
  Poll();
  Poll();
  EXPECT_EQ(Text(1), "none");
  EXPECT_EQ(LogCount("4 Host point 1 has no value: " + In("/sys/temp") + ": No such file"), 1);
  Write("/sys/temp", "1000");
  Poll();
  Poll();
  EXPECT_EQ(Text(1), "1.0");
  EXPECT_EQ(LogCount("5 Host point 1 has a value again"), 1);
  Write("/sys/temp", "N/A");
  Poll();
  EXPECT_EQ(Text(1), "none");
  EXPECT_EQ(LogCount("point 1 has no value: " + In("/sys/temp") + ": holds no number"), 1);
  EXPECT_EQ(LogCount("point 2"), 0);
}

TEST_F(SourcePollerTest, Files_that_hold_no_number_are_refused) {
  Write("/sys/fan", "1");
  for (const char* text : {"", " ", "nan", "1 2", "0x10", "1e999"}) {
    Write("/sys/temp", text);
    Poll();
    EXPECT_EQ(Text(1), "none") << text;
  }
  Write("/sys/temp", std::string(5000, '1'));
  Poll();
  EXPECT_EQ(Text(1), "none");
  EXPECT_EQ(LogCount("File too large"), 1);
}

TEST_F(SourcePollerTest, Sources_are_read_every_so_many_seconds) {
  Write("/sys/temp", "1000");
  Write("/sys/fan", "1");
  const auto serve = [&](int64_t nowMs) {
    m_poller.Serve(host::Wait(), nowMs);
    EXPECT_TRUE(m_poller.AwaitRound(60000));
  };
  serve(100000);
  EXPECT_EQ(Text(2), "1");
  Write("/sys/fan", "2");
  serve(104999);
  EXPECT_EQ(Text(2), "1");
  serve(105000);
  EXPECT_EQ(Text(2), "2");
}

TEST_F(SourcePollerTest, Thread_that_cannot_be_started_is_tried_again) {
  Write("/sys/temp", "1000");
  Write("/sys/fan", "1");
  {
    const NoThreads none;
    for (int i = 0; i < 2; ++i) {
      m_poller.Serve(host::Wait(), m_nowMs += 5000);
      EXPECT_FALSE(m_poller.AwaitRound(0));
    }
  }
  EXPECT_EQ(LogCount("3 Host sources are not read: "), 1);
  Poll();
  EXPECT_EQ(Text(2), "1");
}

namespace {

// Sources of which the first one hangs until it is let go.
class HangingSourceTest : public SourcePollerTest {
 protected:
  struct Door {
    std::mutex mutex;
    std::condition_variable changed;
    int inside = 0;
    bool open = false;

    void Pass() {
      std::unique_lock<std::mutex> lock(mutex);
      ++inside;
      changed.notify_all();
      changed.wait(lock, [this] { return open; });
    }
    void AwaitGuest() {
      std::unique_lock<std::mutex> lock(mutex);
      changed.wait(lock, [this] { return inside > 0; });
    }
    void Close() {
      const std::lock_guard<std::mutex> lock(mutex);
      open = false;
    }
    void Open() {
      const std::lock_guard<std::mutex> lock(mutex);
      open = true;
      changed.notify_all();
    }
  };

  ~HangingSourceTest() override { m_door->Open(); }

  void Serve(int64_t nowMs) { m_hanging->Serve(host::Wait(), nowMs); }

  // Outlives the test with the thread that waits at it.
  const std::shared_ptr<Door> m_door = std::make_shared<Door>();
  std::unique_ptr<host::SourcePoller> m_hanging = std::make_unique<host::SourcePoller>(
      m_engine, [door = m_door](const host::PointModel& point, std::string& value) {
        if (point.id == 1) door->Pass();
        return host::ReadFileSource(point, value);
      });
};

}  // namespace

TEST_F(HangingSourceTest, It_costs_its_own_point_until_it_answers) {
  Write("/sys/temp", "1000");
  Write("/sys/fan", "1");
  Serve(100000);
  m_door->AwaitGuest();
  Serve(105000);
  EXPECT_EQ(Text(2), "none");
  EXPECT_EQ(LogCount("no answer"), 0);
  Serve(110000);
  EXPECT_EQ(LogCount("4 Host point 1 has no value: " + In("/sys/temp") + ": no answer"), 1);
  ASSERT_TRUE(m_hanging->AwaitRound(60000));
  EXPECT_EQ(Text(2), "1");
  Write("/sys/fan", "2");
  Serve(115000);
  ASSERT_TRUE(m_hanging->AwaitRound(60000));
  EXPECT_EQ(Text(2), "2");
  EXPECT_EQ(Text(1), "none");
  m_door->Open();
  AwaitLog("5 Host point 1 has a value again");
  EXPECT_EQ(Text(1), "1.0");
  Write("/sys/temp", "2000");
  Serve(120000);
  ASSERT_TRUE(m_hanging->AwaitRound(60000));
  EXPECT_EQ(Text(1), "2.0");
  EXPECT_EQ(LogCount("no answer"), 1);
  EXPECT_EQ(m_door->inside, 2);
}

TEST_F(HangingSourceTest, Value_that_it_had_goes_away) {
  Write("/sys/temp", "1000");
  m_door->open = true;
  Serve(100000);
  ASSERT_TRUE(m_hanging->AwaitRound(60000));
  EXPECT_EQ(Text(1), "1.0");
  m_door->inside = 0;
  m_door->open = false;
  Serve(105000);
  m_door->AwaitGuest();
  Serve(110000);
  Serve(115000);
  EXPECT_EQ(Text(1), "none");
}

TEST_F(HangingSourceTest, Look_is_wanted_though_the_reader_has_not_woken) {
  host::DeviceEngine engine(ModelOf(R"({"PollSeconds": 60, "Points": [
    {"Id": 1, "Source": {"Type": "file", "Path": "/sys/temp"}}]})"));
  // On one processor a thread of this policy lets whoever wakes it go on first.
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(sched_getcpu(), &one);
  ASSERT_EQ(sched_setaffinity(0, sizeof(one), &one), 0);
  const auto read = [door = m_door](const host::PointModel& /*point*/, std::string& value) {
    constexpr struct sched_param kNone = {};
    sched_setscheduler(0, SCHED_BATCH, &kNone);
    door->Pass();
    value = "1";
    return host::Problem();
  };
  host::SourcePoller poller(engine, read);
  const host::Fd ready(eventfd(1, EFD_CLOEXEC));  // so that nothing is waited for
  int waitMs = 0;
  g_poll = [&waitMs](int timeoutMs) { waitMs = timeoutMs; };
  const int64_t startMs = host::MonotonicMs();
  for (int64_t atMs = startMs; atMs < startMs + 10 * 60000; atMs += 60000) {
    m_door->Close();
    poller.Serve(host::Wait(), atMs);
    host::Wait wait;
    wait.ForRead(ready.Get());
    poller.Want(wait);
    EXPECT_TRUE(wait.Poll(-1));
    EXPECT_LE(waitMs, atMs + 5000 - startMs);
    m_door->Open();
    EXPECT_TRUE(poller.AwaitRound(60000));
  }
  g_poll = nullptr;
}

TEST_F(HangingSourceTest, Nothing_waits_for_it) {
  Serve(100000);
  m_door->AwaitGuest();
  EXPECT_FALSE(m_hanging->AwaitRound(0));
  m_hanging.reset();
  Write("/sys/temp", "1000");
  m_door->Open();
  EXPECT_TRUE(Await([this] { return m_door.use_count() == 1; }));  // its thread has ended
  EXPECT_EQ(Text(1), "none");
}

TEST_F(SourcePollerTest, What_a_source_throws_is_its_problem) {
  host::SourcePoller poller(m_engine, [](const host::PointModel& point, std::string& value) {
    if (point.id == 1) throw std::bad_alloc();
    value = "7";
    return host::Problem();
  });
  poller.Serve(host::Wait(), 100000);
  ASSERT_TRUE(poller.AwaitRound(60000));
  EXPECT_EQ(LogCount("point 1 has no value: std::bad_alloc"), 1);
  EXPECT_EQ(Text(2), "7");
}

TEST_F(SourcePollerTest, Device_without_sources_wants_nothing) {
  host::DeviceEngine engine(ModelOf(R"({"Points": [{"Id": 3, "Value": "set"}]})"));
  host::SourcePoller poller(engine);
  const NoThreads none;  // which it would complain of
  poller.Serve(host::Wait(), 100000);
  EXPECT_TRUE(poller.AwaitRound(0));
  EXPECT_EQ(Log(), "");
}
