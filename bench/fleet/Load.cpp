// SPDX-License-Identifier: Apache-2.0
// The generator: what is due goes out, and what comes back is checked and counted.
#include "Load.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/steady_timer.hpp>

#include "Schedule.h"

namespace fleet {

namespace {

namespace asio = boost::asio;

using Steady = std::chrono::steady_clock;
using Time = Steady::time_point;

constexpr std::size_t kShownProblems = 5;
// A thread with more failures gives up: there is nobody to measure.
constexpr std::int64_t kMostFailures = 1000;
// Connections come from many addresses of the loopback network, as appliances do: a service may
// limit each.
constexpr std::uint32_t kFirstAddress = 0x7f000002;
constexpr std::uint32_t kAddresses = 250;
constexpr std::uint32_t kFirstStranger = 0x7f010001;
constexpr std::uint32_t kStrangers = 1000000;

// The times of a run.
struct Window {
  Time start;
  Time opens;
  Time closes;

  bool Holds(Time time) const { return time >= opens && time < closes; }
};

bool IsOperators(Kind kind) {
  return kind == Kind::kView || kind == Kind::kSearch || kind == Kind::kWrongPassword;
}

// One thread of the generator: some of the connections, and the appliances that use them.
class Worker {
 public:
  Worker(const Plan& plan, Fleet& fleet, const Way& way, const Window& window, int thread)
      : m_plan(plan),
        m_fleet(fleet),
        m_window(window),
        m_thread(thread),
        m_schedule(plan.rates),
        m_timer(m_io),
        m_patience(m_io) {
    for (int i = thread; i < plan.connections; i += plan.threads) {
      m_slots.push_back({i, MakeLink(m_io, way), {}, i, 0});
    }
  }

  void Run() {
    if (m_plan.pace == Plan::Pace::kRates) {
      m_due = m_schedule.Next();
      Feed();
    } else {
      for (Slot& slot : m_slots) SendNext(slot);
    }
    if (m_pending == 0 && m_fed) return;
    if (m_plan.pace != Plan::Pace::kOnce) WaitUntilPatienceEnds();
    m_io.run();
  }

  void AddTo(Result& result) const {
    for (std::size_t i = 0; i < m_kinds.size(); ++i) result.kinds.at(i).Add(m_kinds.at(i));
    for (const Slot& slot : m_slots) {
      for (const Job& job : slot.jobs) {
        ++result.Of(job.kind).unanswered;
      }
    }
    result.problems.insert(result.problems.end(), m_problems.begin(), m_problems.end());
  }

 private:
  struct Job {
    Kind kind = Kind::kBeat;
    std::int64_t number = 0;
    Time due;
  };

  // A connection, or one after the other.
  struct Slot {
    int number = 0;
    std::shared_ptr<Link> link;
    std::deque<Job> jobs;  // the first is under way
    std::int64_t appliance = 0;
    std::size_t kind = 0;
  };

  KindResult& Of(Kind kind) { return m_kinds.at(static_cast<std::size_t>(kind)); }

  // Ends the run at the latest some time after the last request was due.
  void WaitUntilPatienceEnds() {
    m_patience.expires_at(m_window.closes + m_plan.patience);
    m_patience.async_wait([this](const boost::system::error_code& cancelled) {
      if (!cancelled) m_io.stop();
    });
  }

  // Sends what is due by now, and waits for the next.
  void Feed() {
    const Time now = Steady::now();
    while (m_due && m_window.start + m_due->at <= now) {
      const Time due = m_window.start + m_due->at;
      if (due >= m_window.closes) break;
      Take(*m_due, due);
      m_due = m_schedule.Next();
    }
    m_fed = !m_due || m_window.start + m_due->at >= m_window.closes;
    if (m_fed) return EndWhenDone();
    m_timer.expires_at(m_window.start + m_due->at);
    m_timer.async_wait([this](const boost::system::error_code& cancelled) {
      if (!cancelled) Feed();
    });
  }

  void Take(const Schedule::Due& due, Time time) {
    const Kind kind = m_plan.kinds[due.series];
    const std::int64_t number = IsOperators(kind) ? due.turn : due.turn % m_plan.appliances;
    const auto slot = static_cast<int>(number % m_plan.connections);
    if (slot % m_plan.threads != m_thread) return;
    Put(m_slots[static_cast<std::size_t>(slot / m_plan.threads)], {kind, number, time});
  }

  void Put(Slot& slot, const Job& job) {
    if (m_window.Holds(job.due)) ++Of(job.kind).due;
    ++m_pending;
    slot.jobs.push_back(job);
    if (slot.jobs.size() == 1) Send(slot);
  }

  // Of a closed loop: the next request of the slot's appliances.
  void SendNext(Slot& slot) {
    const bool once = m_plan.pace == Plan::Pace::kOnce;
    const Time now = Steady::now();
    if (slot.appliance >= m_plan.appliances && !once) slot.appliance = slot.number;
    if (slot.appliance >= m_plan.appliances || now >= m_window.closes) {
      m_fed = true;
      return EndWhenDone();
    }
    const Job job = {m_plan.kinds[slot.kind], slot.appliance, now};
    if (++slot.kind == m_plan.kinds.size()) {
      slot.kind = 0;
      slot.appliance += m_plan.connections;
    }
    Put(slot, job);
  }

  asio::ip::address AddressOf(const Slot& slot, Kind kind) const {
    const auto turn = static_cast<std::uint32_t>(slot.jobs.front().number);
    const std::uint32_t address =
        kind == Kind::kWrongPassword
            ? kFirstStranger + turn % kStrangers
            : kFirstAddress + static_cast<std::uint32_t>(slot.number) % kAddresses;
    return asio::ip::address_v4(address);
  }

  void Send(Slot& slot) {
    const Job& job = slot.jobs.front();
    slot.link->Exchange(m_fleet.Request(job.kind, job.number), AddressOf(slot, job.kind),
                        [this, &slot](const boost::system::error_code& error,
                                      const Answer& answer) { Finish(slot, error, answer); });
  }

  void Finish(Slot& slot, const boost::system::error_code& error, const Answer& answer) {
    const Job job = slot.jobs.front();
    const Time now = Steady::now();
    slot.jobs.pop_front();
    --m_pending;
    if (!error) ++Of(job.kind).statuses[answer.status];
    const std::string problem =
        error ? error.message() : m_fleet.Check(job.kind, job.number, answer);
    if (problem.empty()) {
      Count(job, now);
    } else {
      Complain(job, problem);
    }
    if (m_gaveUp) return;
    if (!slot.jobs.empty()) {
      Send(slot);
    } else if (m_plan.pace != Plan::Pace::kRates) {
      SendNext(slot);
    }
    if (m_fed) EndWhenDone();
  }

  void Count(const Job& job, Time now) {
    KindResult& kind = Of(job.kind);
    if (m_window.Holds(now)) ++kind.answered;
    if (!m_window.Holds(job.due)) return;
    kind.latency.Add(std::chrono::duration_cast<std::chrono::microseconds>(now - job.due).count());
  }

  void Complain(const Job& job, const std::string& problem) {
    m_fleet.Lost(job.kind, job.number);
    ++Of(job.kind).failed;
    if (m_problems.size() < kShownProblems) {
      m_problems.push_back(std::string(NameOf(job.kind)) + " of " + std::to_string(job.number) +
                           ": " + problem);
    }
    if (++m_failures < kMostFailures) return;
    m_gaveUp = true;
    m_io.stop();
  }

  void EndWhenDone() {
    if (m_pending == 0) m_io.stop();
  }

  const Plan& m_plan;
  Fleet& m_fleet;
  const Window m_window;
  const int m_thread;
  asio::io_context m_io{1};
  Schedule m_schedule;
  std::optional<Schedule::Due> m_due;
  asio::steady_timer m_timer;
  asio::steady_timer m_patience;
  std::vector<Slot> m_slots;
  std::array<KindResult, kKinds> m_kinds;
  std::vector<std::string> m_problems;
  std::int64_t m_pending = 0;
  std::int64_t m_failures = 0;
  bool m_fed = false;  // nothing more becomes due
  bool m_gaveUp = false;
};

}  // namespace

void KindResult::Add(const KindResult& other) {
  latency.Add(other.latency);
  due += other.due;
  answered += other.answered;
  failed += other.failed;
  unanswered += other.unanswered;
  for (const auto& [status, count] : other.statuses) statuses[status] += count;
}

std::int64_t Result::Answered() const {
  std::int64_t sum = 0;
  for (const KindResult& kind : kinds) sum += kind.answered;
  return sum;
}

std::int64_t Result::Failed() const {
  std::int64_t sum = failedElsewhere;
  for (const KindResult& kind : kinds) sum += kind.failed + kind.unanswered;
  return sum;
}

void Result::AddFailures(const Result& other) {
  failedElsewhere += other.Failed();
  problems.insert(problems.end(), other.problems.begin(), other.problems.end());
}

Result Run(const Plan& plan, Fleet& fleet, const Way& way, const std::function<void()>& opens,
           const std::function<void()>& closes) {
  const bool once = plan.pace == Plan::Pace::kOnce;
  const Time start = Steady::now();
  const Time opening = start + (once ? std::chrono::milliseconds(0) : plan.warmUp);
  const Window window = {start, opening, once ? Time::max() : opening + plan.measured};
  std::vector<std::unique_ptr<Worker>> workers;
  std::vector<std::thread> threads;
  if (once) opens();
  workers.reserve(static_cast<std::size_t>(plan.threads));
  for (int i = 0; i < plan.threads; ++i) {
    workers.push_back(std::make_unique<Worker>(plan, fleet, way, window, i));
  }
  threads.reserve(workers.size());
  for (const auto& worker : workers) threads.emplace_back([&worker] { worker->Run(); });
  if (!once) {
    std::this_thread::sleep_until(window.opens);
    opens();
    std::this_thread::sleep_until(window.closes);
    closes();
  }
  for (std::thread& thread : threads) thread.join();
  if (once) closes();
  Result result;
  result.seconds =
      std::chrono::duration<double>((once ? Steady::now() : window.closes) - window.opens).count();
  for (const auto& worker : workers) worker->AddTo(result);
  return result;
}

}  // namespace fleet
