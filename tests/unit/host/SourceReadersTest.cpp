// SPDX-License-Identifier: Apache-2.0
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>

#include "HostTest.h"
#include "Scarcity.h"
#include "SystemCalls.h"
#include "host/device/SourceReaders.h"
#include "host/util/Clock.h"

using testing::ElementsAre;

namespace {

// What connections do, as the case says; outlives it with threads that hang.
struct Script {
  std::mutex mutex;
  std::condition_variable changed;
  std::function<host::Problem(host::SourceSink&)> read;
  std::function<void(host::SourceSink&)> takeEvents;
  int eventFd = -1;
  int readings = 0;
  int waiting = 0;  // before the door
  bool open = true;
  bool gone = false;  // the connection is, and with it what its thread does

  // Waits while the door is shut.
  void Pass() {
    std::unique_lock<std::mutex> lock(mutex);
    ++waiting;
    changed.wait(lock, [this] { return open; });
    --waiting;
  }
  void SetOpen(bool isOpen) {
    const std::lock_guard<std::mutex> lock(mutex);
    open = isOpen;
    changed.notify_all();
  }
  void Reads(std::function<host::Problem(host::SourceSink&)> next) {
    const std::lock_guard<std::mutex> lock(mutex);
    read = std::move(next);
  }
};

class Scripted : public host::SourceConnection {
 public:
  explicit Scripted(std::shared_ptr<Script> script) : m_script(std::move(script)) {}
  ~Scripted() override {
    const std::lock_guard<std::mutex> lock(m_script->mutex);
    m_script->gone = true;
  }
  void AddPoint(size_t /*point*/, const std::string& /*settings*/,
                host::SettingFaults& /*faults*/) override {}
  host::Problem Read(host::SourceSink& sink) override {
    std::function<host::Problem(host::SourceSink&)> read;
    {
      const std::lock_guard<std::mutex> lock(m_script->mutex);
      read = m_script->read;
      ++m_script->readings;
    }
    m_script->Pass();
    return read(sink);
  }
  int EventFd() const override { return m_script->eventFd; }
  void TakeEvents(host::SourceSink& sink) override { m_script->takeEvents(sink); }

 private:
  const std::shared_ptr<Script> m_script;
};

class SourceReadersTest : public HostTest {
 protected:
  ~SourceReadersTest() override { m_script->SetOpen(true); }

  std::string Text(uint16_t point) const {
    std::string text;
    return m_engine.PointText(point, text) ? text : "none";
  }

  void Add(const std::shared_ptr<Script>& script, const std::vector<size_t>& points) {
    host::PreparedSource source;
    source.name = points.front() == 0 ? "pdu" : "ups";
    source.intervalMs = m_intervalMs;
    source.limits = {1000, 1, m_prepared.stop->Get()};
    source.connection = std::make_unique<Scripted>(script);
    for (const size_t point : points) source.points.push_back(&m_engine.Model().points[point]);
    source.events.push_back({9, 1, 2});
    m_prepared.sources.push_back(std::move(source));
  }

  void Start() {
    if (m_prepared.sources.empty()) Add(m_script, {0, 1});
    m_readers = std::make_unique<host::SourceReaders>(m_engine, std::move(m_prepared));
    m_readers->Serve(host::Wait(), host::MonotonicMs());
  }

  // Until the thread is gone too: the hooks are there before it, and go after it.
  void AwaitEnd() {
    EXPECT_TRUE(Await([this] {
      const std::lock_guard<std::mutex> lock(m_script->mutex);
      return m_script->gone;
    }));
    EmptyHooks();
  }

  // The door is shut; a reading may have begun just before.
  bool AwaitReadingThatHangs() {
    return Await([this] {
      const std::lock_guard<std::mutex> lock(m_script->mutex);
      return m_script->waiting > 0;
    });
  }

  // Waits until so many more readings have begun.
  bool AwaitReadings(int more) {
    const auto readings = [this] {
      const std::lock_guard<std::mutex> lock(m_script->mutex);
      return m_script->readings;
    };
    const int wanted = readings() + more;
    return Await([&] { return readings() >= wanted; });
  }

  host::DeviceEngine m_engine{ModelOf(R"({"Points": [
      {"Id": 1, "Decimals": 1, "Scale": 0.1, "Source": {"Type": "fake"}},
      {"Id": 2, "States": {"1": "On"}, "Source": {"Type": "fake"}},
      {"Id": 3, "Source": {"Type": "fake"}}],
    "Events": [{"GddId": 9, "Modules": 2}]})")};
  const std::shared_ptr<Script> m_script = std::make_shared<Script>();
  int64_t m_intervalMs = 1;
  host::PreparedSources m_prepared{
      std::make_shared<host::Fd>(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), {}, {}};
  std::unique_ptr<host::SourceReaders> m_readers;
};

host::Problem TellBoth(host::SourceSink& sink) {
  sink.Number(0, 235);
  sink.Number(1, 1);
  return {};
}

}  // namespace

TEST_F(SourceReadersTest, What_a_connection_tells_are_the_values_of_its_points) {
  m_script->read = TellBoth;
  m_prepared.unserved = {3};
  Start();
  ASSERT_TRUE(m_readers->AwaitFirst(60000));
  EXPECT_EQ(Text(1), "23.5");
  EXPECT_EQ(Text(2), "On");
  EXPECT_EQ(Text(3), "none");
  m_script->Reads([](host::SourceSink& sink) {
    sink.Number(0, 10);
    sink.Text(1, "Standby");
    return host::Problem();
  });
  EXPECT_TRUE(Await([this] { return Text(1) == "1.0" && Text(2) == "Standby"; }));
  EXPECT_EQ(Log(), "");
}

TEST_F(SourceReadersTest, Connection_that_fails_costs_one_message_until_it_answers) {
  m_script->read = TellBoth;
  Start();
  ASSERT_TRUE(m_readers->AwaitFirst(60000));
  m_script->Reads([](host::SourceSink& sink) {
    sink.Number(0, 20);
    return host::Problem("Timeout");
  });
  AwaitLog("4 Host source pdu does not answer: Timeout");
  EXPECT_TRUE(AwaitReadings(2));
  EXPECT_EQ(Text(1), "2.0");
  EXPECT_EQ(Text(2), "none");
  m_script->Reads(TellBoth);
  AwaitLog("5 Host source pdu answers again");
  EXPECT_EQ(Text(2), "On");
  EXPECT_EQ(LogCount("does not answer"), 1);
  EXPECT_EQ(LogCount("point"), 0);
}

TEST_F(SourceReadersTest, Point_without_a_value_costs_one_message_until_it_has_one) {
  m_script->read = [](host::SourceSink& sink) {
    sink.NoValue(0, host::Problem("no such name"));
    sink.Number(1, 1);
    return host::Problem();
  };
  Start();
  EXPECT_TRUE(AwaitReadings(3));
  EXPECT_EQ(Text(1), "none");
  EXPECT_EQ(Text(2), "On");
  EXPECT_EQ(LogCount("4 Host point 1 has no value: no such name"), 1);
  m_script->Reads(TellBoth);
  AwaitLog("5 Host point 1 has a value again");
  EXPECT_EQ(Text(1), "23.5");
}

TEST_F(SourceReadersTest, Point_that_is_not_told_loses_its_value) {
  m_script->read = TellBoth;
  Start();
  ASSERT_TRUE(m_readers->AwaitFirst(60000));
  m_script->Reads([](host::SourceSink& sink) {
    sink.Number(0, 10);
    return host::Problem();
  });
  EXPECT_TRUE(Await([this] { return Text(2) == "none"; }));
  EXPECT_EQ(Text(1), "1.0");
}

TEST_F(SourceReadersTest, What_reading_throws_is_the_connections_problem) {
  m_script->read = [](host::SourceSink&) -> host::Problem { throw std::runtime_error("torn"); };
  Start();
  AwaitLog("4 Host source pdu does not answer: torn");
  m_script->Reads(TellBoth);
  AwaitLog("5 Host source pdu answers again");
}

TEST_F(SourceReadersTest, Events_are_raised_and_cleared) {
  const host::Fd arrived(eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK));
  bool raised = true;
  m_script->eventFd = arrived.Get();
  m_script->read = TellBoth;
  m_script->takeEvents = [&](host::SourceSink& sink) {
    uint64_t count = 0;
    EXPECT_EQ(read(arrived.Get(), &count, sizeof(count)), ssize_t{sizeof(count)});
    sink.Event(0, raised);
  };
  Start();
  const auto state = [this] { return m_engine.Events().at(1).state; };
  EXPECT_TRUE(Await([&] { return state() == 2; }));
  raised = false;
  const uint64_t one = 1;
  EXPECT_EQ(write(arrived.Get(), &one, sizeof(one)), ssize_t{sizeof(one)});
  EXPECT_TRUE(Await([&] { return state() == host::kCleared; }));
  EXPECT_EQ(m_engine.Events().at(0).state, host::kCleared);
  m_readers.reset();
}

TEST_F(SourceReadersTest, Pauses_after_failures_grow_to_a_minute) {
  // Something is always ready to be taken: nothing waits, the clock goes by what was asked for.
  const host::Fd ready(eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK));
  m_script->eventFd = ready.Get();
  m_script->takeEvents = [](host::SourceSink&) {};
  std::atomic<int64_t> nowUs = 1000000000;
  std::mutex mutex;
  std::vector<int> pauses;
  g_monotonicUs = [&] { return nowUs.load(); };
  g_poll = [&](int timeoutMs) {
    if (timeoutMs <= 0) return;
    const std::lock_guard<std::mutex> lock(mutex);
    pauses.push_back(timeoutMs / 1000);
    nowUs += int64_t{timeoutMs} * 1000;
  };
  m_intervalMs = 10000;
  m_script->read = [](host::SourceSink&) { return host::Problem("Timeout"); };
  Start();
  EXPECT_TRUE(Await([&] {
    const std::lock_guard<std::mutex> lock(mutex);
    return pauses.size() >= 6;
  }));
  m_script->Reads(TellBoth);
  AwaitLog("answers again");
  m_readers.reset();
  AwaitEnd();
  pauses.resize(6);
  EXPECT_THAT(pauses, ElementsAre(10, 20, 40, 60, 60, 60));
}

TEST_F(SourceReadersTest, Listener_without_points_is_not_read_again) {
  const host::Fd ready(eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK));
  m_script->eventFd = ready.Get();
  std::atomic<int> taken = 0;
  m_script->takeEvents = [&](host::SourceSink&) { ++taken; };
  m_script->read = [](host::SourceSink&) { return host::Problem(); };
  Add(m_script, {0});
  m_prepared.sources[0].points.clear();
  Start();
  EXPECT_TRUE(Await([&] { return taken > 10; }));
  m_readers.reset();
  EXPECT_EQ(m_script->readings, 1);
}

TEST_F(SourceReadersTest, Connection_that_hangs_costs_its_own_points_until_it_answers) {
  const auto other = std::make_shared<Script>();
  other->read = [](host::SourceSink& sink) {
    sink.Number(0, 7);
    return host::Problem();
  };
  m_script->read = TellBoth;
  Add(m_script, {0, 1});
  Add(other, {2});
  Start();
  ASSERT_TRUE(m_readers->AwaitFirst(60000));
  m_script->SetOpen(false);
  EXPECT_TRUE(AwaitReadingThatHangs());
  m_readers->Serve(host::Wait(), host::MonotonicMs() + 8000);
  EXPECT_EQ(LogCount("hangs"), 0);
  m_readers->Serve(host::Wait(), host::MonotonicMs() + 20000);
  m_readers->Serve(host::Wait(), host::MonotonicMs() + 40000);
  EXPECT_EQ(LogCount("4 Host source pdu does not answer: it hangs"), 1);
  EXPECT_EQ(Text(1), "none");
  EXPECT_EQ(Text(2), "none");
  EXPECT_EQ(Text(3), "7");
  m_script->SetOpen(true);
  AwaitLog("5 Host source pdu answers again");
  EXPECT_EQ(Text(1), "23.5");
  EXPECT_EQ(LogCount("source ups"), 0);
}

TEST_F(SourceReadersTest, End_waits_a_second_at_most_for_a_connection_that_hangs) {
  m_script->open = false;
  m_script->read = TellBoth;
  std::atomic<int64_t> nowUs = 100000000;
  std::atomic<bool> ends = false;
  g_monotonicUs = [&nowUs] { return nowUs.load(); };
  g_usleep = [&](int64_t us) { nowUs += ends ? us : 0; };
  Start();
  EXPECT_TRUE(Await([this] {
    const std::lock_guard<std::mutex> lock(m_script->mutex);
    return m_script->readings == 1;
  }));
  EXPECT_FALSE(m_readers->AwaitFirst(0));
  ends = true;
  m_readers.reset();
  EXPECT_EQ(nowUs, 101000000);
  m_script->SetOpen(true);
  AwaitEnd();
  EXPECT_EQ(Text(1), "none");
}

TEST_F(SourceReadersTest, Thread_that_cannot_be_started_is_tried_again) {
  m_script->read = TellBoth;
  {
    const NoThreads none;
    Start();
    m_readers->Serve(host::Wait(), host::MonotonicMs() + 6000);
  }
  EXPECT_EQ(LogCount("3 Host sources are not read: "), 1);
  m_readers->Serve(host::Wait(), host::MonotonicMs() + 20000);
  ASSERT_TRUE(m_readers->AwaitFirst(60000));
  EXPECT_EQ(Text(1), "23.5");
}

TEST_F(SourceReadersTest, Device_without_sources_wants_nothing) {
  host::SourceReaders readers(m_engine, std::move(m_prepared));
  const NoThreads none;  // which it would complain of
  readers.Serve(host::Wait(), 100000);
  EXPECT_TRUE(readers.AwaitFirst(0));
  EXPECT_EQ(Log(), "");
}
