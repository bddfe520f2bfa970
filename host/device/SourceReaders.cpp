// SPDX-License-Identifier: Apache-2.0
// The threads that read connections, and what of it reaches engine and log.
#include "host/device/SourceReaders.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <limits>
#include <utility>

#include "host/device/PointValue.h"
#include "host/util/Clock.h"
#include "host/util/ExceptionText.h"
#include "host/util/Log.h"
#include "host/util/Mutex.h"
#include "host/util/QuietThread.h"

namespace host {
namespace {

constexpr int64_t kRestartMs = 5000;
constexpr int64_t kLookMs = 1000;
constexpr int64_t kLongestPauseMs = 60000;
constexpr int64_t kSlackMs = 5000;
constexpr int64_t kNeverMs = std::numeric_limits<int64_t>::max() / 2;
constexpr int kStopMs = 1000;
constexpr useconds_t kLookPauseUs = 1000;

// After how long without a word a connection hangs: what its limits allow, and as much again, for a
// machine that is busy.
int64_t LongestSilenceMs(const SourceLimits& limits) {
  return kSlackMs + 2 * int64_t{limits.timeoutMs} * (limits.retries + 1);
}

}  // namespace

// One connection, with its thread. Its mutex guards what others look at; it is never held while
// something is logged, as the log may block.
class SourceReaders::Reader : private SourceSink {
 public:
  Reader(DeviceEngine& engine, PreparedSource source, std::shared_ptr<Fd> stop)
      : m_source(std::move(source)),
        m_stop(std::move(stop)),
        m_silenceMs(LongestSilenceMs(m_source.limits)),
        m_reasons(m_source.points.size()),
        m_told(m_source.points.size()),
        m_engine(&engine),
        m_dueMs(MonotonicMs()) {}

  // The thread.
  void Run();

  // The event thread: when to look for the next time, and the look.
  int64_t NextLookMs();
  void Look(int64_t nowMs);

  // Whoever ends it: nothing reaches the engine from now on.
  void Leave();
  bool WasRead();
  bool HasEnded();

 private:
  void Number(size_t point, double number) override;
  void Text(size_t point, const std::string& text) override;
  void NoValue(size_t point, const Problem& reason) override;
  void Event(size_t event, bool raised) override;

  bool IsStopped() const;
  int64_t DueMs() EXCLUDES(m_mutex);
  void TakeEvents();
  void ReadOnce();
  Problem ReadGuarded();
  void Finish(const Problem& problem);
  template <typename ValueOf>
  void Put(size_t point, const ValueOf& valueOf);
  void PutMissing(bool all) REQUIRES(m_mutex);
  int64_t NextMs(int64_t begunMs, bool failed);

  const PreparedSource m_source;
  const std::shared_ptr<Fd> m_stop;
  const int64_t m_silenceMs;

  // The thread's own.
  std::vector<std::string> m_reasons;  // why a point has no value, as it was logged
  std::vector<bool> m_told;            // in this reading
  int64_t m_pauseMs = 0;               // after the last failure; 0 after a success

  Mutex m_mutex;
  DeviceEngine* m_engine GUARDED_BY(m_mutex);    // null when it is gone
  int64_t m_dueMs GUARDED_BY(m_mutex);           // of the next reading
  int64_t m_lastWordMs GUARDED_BY(m_mutex) = 0;  // while it is being read
  bool m_busy GUARDED_BY(m_mutex) = false;       // being read
  bool m_failing GUARDED_BY(m_mutex) = false;    // and that was logged
  bool m_wasRead GUARDED_BY(m_mutex) = false;
  bool m_ended GUARDED_BY(m_mutex) = false;
};

void SourceReaders::Reader::Run() {
  for (;;) {
    Wait wait;
    wait.ForRead(m_stop->Get());
    const int eventFd = m_source.connection->EventFd();
    if (eventFd >= 0) wait.ForRead(eventFd);
    wait.Until(DueMs());
    if (!wait.Poll(-1)) usleep(kLookPauseUs);
    if (wait.Ready(m_stop->Get())) break;
    if (eventFd >= 0 && wait.Ready(eventFd)) TakeEvents();
    if (MonotonicMs() >= DueMs()) ReadOnce();
  }
  const MutexLock guard(m_mutex);
  m_ended = true;
}

int64_t SourceReaders::Reader::DueMs() {
  const MutexLock guard(m_mutex);
  return m_dueMs;
}

bool SourceReaders::Reader::IsStopped() const {
  Wait wait;
  wait.ForRead(m_stop->Get());
  return wait.Poll(0) && wait.Ready(m_stop->Get());
}

void SourceReaders::Reader::TakeEvents() {
  try {
    m_source.connection->TakeEvents(*this);
  } catch (...) {
    HOST_LOG(4, "source %s lost events: %s", m_source.name.c_str(), ExceptionText());
  }
}

Problem SourceReaders::Reader::ReadGuarded() {
  try {
    return m_source.connection->Read(*this);
  } catch (...) {
    return Problem(ExceptionText());
  }
}

void SourceReaders::Reader::ReadOnce() {
  const int64_t begunMs = MonotonicMs();
  {
    const MutexLock guard(m_mutex);
    m_busy = true;
    m_lastWordMs = begunMs;
  }
  std::fill(m_told.begin(), m_told.end(), false);
  const Problem problem = ReadGuarded();
  if (IsStopped()) return;
  const int64_t nextMs = NextMs(begunMs, bool{problem});
  {
    const MutexLock guard(m_mutex);
    m_dueMs = nextMs;
  }
  Finish(problem);
}

// When to read again: after a failure later and later.
int64_t SourceReaders::Reader::NextMs(int64_t begunMs, bool failed) {
  if (!failed) {
    m_pauseMs = 0;
    // What listens, and does nothing else, has nothing to be read.
    const bool listens = m_source.points.empty() && m_source.connection->EventFd() >= 0;
    return listens ? kNeverMs : begunMs + m_source.intervalMs;
  }
  const int64_t longestMs = std::max(m_source.intervalMs, kLongestPauseMs);
  m_pauseMs = m_pauseMs == 0 ? m_source.intervalMs : std::min(2 * m_pauseMs, longestMs);
  return MonotonicMs() + m_pauseMs;
}

void SourceReaders::Reader::Finish(const Problem& problem) {
  bool wasFailing = false;
  {
    const MutexLock guard(m_mutex);
    PutMissing(false);
    m_busy = false;
    m_wasRead = true;
    wasFailing = std::exchange(m_failing, bool{problem});
  }
  if (problem && !wasFailing) {
    HOST_LOG(4, "source %s does not answer: %s", m_source.name.c_str(), problem.Text().c_str());
  } else if (!problem && wasFailing) {
    HOST_LOG(5, "source %s answers again", m_source.name.c_str());
  }
}

// Takes the values of all points, or of those that were not told.
void SourceReaders::Reader::PutMissing(bool all) {
  if (m_engine == nullptr) return;
  for (size_t i = 0; i < m_source.points.size(); ++i) {
    if (all || !m_told[i]) m_engine->SetFromSource(m_source.points[i]->id, nullptr);
  }
}

void SourceReaders::Reader::Number(size_t point, double number) {
  Put(point, [number](const PointModel& model, std::string& value) {
    return ValueOfNumber(model, number, value);
  });
}

void SourceReaders::Reader::Text(size_t point, const std::string& text) {
  Put(point, [&text](const PointModel& model, std::string& value) {
    return ValueOfText(model, text, value);
  });
}

void SourceReaders::Reader::NoValue(size_t point, const Problem& reason) {
  Put(point, [&reason](const PointModel&, std::string&) { return reason; });
}

// Gives a point's value, or that it has none, to the engine, and logs a new reason or its end. The
// engine's model is there as long as the engine is.
template <typename ValueOf>
void SourceReaders::Reader::Put(size_t point, const ValueOf& valueOf) {
  uint16_t id = 0;
  std::string reason;
  {
    const MutexLock guard(m_mutex);
    m_lastWordMs = MonotonicMs();
    if (m_engine == nullptr) return;
    const PointModel& model = *m_source.points.at(point);
    id = model.id;
    std::string value;
    const Problem problem = valueOf(model, value);
    m_engine->SetFromSource(id, problem ? nullptr : &value);
    reason = problem.Text();
  }
  m_told[point] = true;
  if (m_reasons[point] == reason) return;
  m_reasons[point].swap(reason);
  if (m_reasons[point].empty()) {
    HOST_LOG(5, "point %d has a value again", int{id});
  } else {
    HOST_LOG(4, "point %d has no value: %s", int{id}, m_reasons[point].c_str());
  }
}

void SourceReaders::Reader::Event(size_t event, bool raised) {
  const SourceEvent& its = m_source.events.at(event);
  const MutexLock guard(m_mutex);
  if (m_engine == nullptr) return;
  // Known event, known module: both were looked at when the source was prepared.
  static_cast<void>(m_engine->SetEvent(its.gddId, its.module, raised ? its.state : kCleared));
}

int64_t SourceReaders::Reader::NextLookMs() {
  const MutexLock guard(m_mutex);
  return (m_busy ? m_lastWordMs : m_dueMs) + m_silenceMs;
}

void SourceReaders::Reader::Look(int64_t nowMs) {
  {
    const MutexLock guard(m_mutex);
    if (!m_busy || nowMs - m_lastWordMs < m_silenceMs) return;
    m_lastWordMs = nowMs;
    PutMissing(true);
    m_wasRead = true;
    if (std::exchange(m_failing, true)) return;
  }
  HOST_LOG(4, "source %s does not answer: %s", m_source.name.c_str(), "it hangs");
}

void SourceReaders::Reader::Leave() {
  const MutexLock guard(m_mutex);
  m_engine = nullptr;
}

bool SourceReaders::Reader::WasRead() {
  const MutexLock guard(m_mutex);
  return m_wasRead;
}

bool SourceReaders::Reader::HasEnded() {
  const MutexLock guard(m_mutex);
  return m_ended;
}

SourceReaders::SourceReaders(DeviceEngine& engine, PreparedSources prepared)
    : m_stop(std::move(prepared.stop)) {
  for (const uint16_t point : prepared.unserved) engine.SetFromSource(point, nullptr);
  for (PreparedSource& source : prepared.sources) {
    m_readers.push_back(std::make_shared<Reader>(engine, std::move(source), m_stop));
  }
}

SourceReaders::~SourceReaders() {
  for (const auto& reader : m_readers) reader->Leave();
  const uint64_t one = 1;
  while (!m_readers.empty() && write(m_stop->Get(), &one, sizeof(one)) < 0 && errno == EINTR) {
  }
  const int64_t end = MonotonicMs() + kStopMs;
  for (size_t i = 0; i < m_started; ++i) {
    while (!m_readers[i]->HasEnded() && MonotonicMs() < end) usleep(kLookPauseUs);
  }
}

void SourceReaders::Want(Wait& wait) {
  if (m_started < m_readers.size()) wait.Until(m_nextStartMs);
  for (size_t i = 0; i < m_started; ++i) {
    wait.Until(std::max(m_readers[i]->NextLookMs(), m_lastLookMs + kLookMs));
  }
}

void SourceReaders::Serve(const Wait& /*wait*/, int64_t nowMs) {
  if (m_started < m_readers.size() && nowMs >= m_nextStartMs) {
    m_nextStartMs = nowMs + kRestartMs;
    Start();
  }
  if (m_started == 0 || nowMs < m_lastLookMs + kLookMs) return;
  m_lastLookMs = nowMs;
  for (size_t i = 0; i < m_started; ++i) m_readers[i]->Look(nowMs);
}

void SourceReaders::Start() {
  try {
    for (; m_started < m_readers.size(); ++m_started) {
      StartQuietThread([reader = m_readers[m_started]] { reader->Run(); }).detach();
    }
    m_failureLogged = false;
  } catch (const std::exception& error) {
    if (std::exchange(m_failureLogged, true)) return;
    HOST_LOG(3, "sources are not read: %s", error.what());
  }
}

bool SourceReaders::AwaitFirst(int limitMs) {
  const int64_t end = MonotonicMs() + limitMs;
  for (;;) {
    if (std::all_of(m_readers.begin(), m_readers.end(),
                    [](const auto& reader) { return reader->WasRead(); })) {
      return true;
    }
    // A condition variable's timed wait would follow another clock than this one.
    if (MonotonicMs() >= end) return false;
    usleep(kLookPauseUs);
  }
}

}  // namespace host
