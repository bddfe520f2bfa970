// SPDX-License-Identifier: Apache-2.0
// Values of points that come from files, read on a thread of their own.
#include "host/device/SourcePoller.h"

#include <unistd.h>

#include <exception>
#include <list>
#include <utility>

#include "host/device/PointValue.h"
#include "host/util/Clock.h"
#include "host/util/ExceptionText.h"
#include "host/util/Files.h"
#include "host/util/Log.h"
#include "host/util/Mutex.h"
#include "host/util/Numbers.h"
#include "host/util/QuietThread.h"
#include "host/util/Trimmed.h"
#include "platform/util/LocalPath.h"

namespace host {
namespace {

constexpr size_t kLargestSource = 4096;
constexpr int64_t kAnswerMs = 5000;
constexpr useconds_t kRoundPauseUs = 1000;

}  // namespace

Problem ReadFileSource(const PointModel& point, std::string& value) {
  const std::string path = LocalPath(point.source->path);
  std::string text;
  if (Problem problem = ReadFile(path, kLargestSource, text)) return problem.With(path);
  double number = 0;
  if (!ParseNumber(Trimmed(text), number)) return Problem("holds no number").With(path);
  if (Problem problem = ValueOfNumber(point, number, value)) return problem.With(path);
  return {};
}

namespace {

// What was read from a source: its value, or the problem.
struct Reading {
  std::string value;
  Problem problem;
};

Reading ReadSource(const SourcePoller::Read& read, const PointModel& point) {
  Reading reading;
  try {
    reading.problem = read(point, reading.value);
  } catch (...) {
    reading.problem = Problem(ExceptionText());
  }
  return reading;
}

}  // namespace

// What the poller shares with its threads.
struct SourcePoller::Shared {
  // One source. All but the point, which never changes, is guarded by the mutex.
  struct Source {
    explicit Source(const PointModel& model) : point(model) {}

    const PointModel point;
    bool due = false;   // to be read in this round
    bool busy = false;  // being read
    Problem problem;    // of the last reading
  };

  Shared(DeviceEngine& itsEngine, Read itsRead) : read(std::move(itsRead)), engine(&itsEngine) {
    for (const PointModel& point : itsEngine.Model().points) {
      if (point.source && !point.source->path.empty()) sources.emplace_back(point);
    }
  }

  void Run(unsigned long id);
  Source* Take(unsigned long id) EXCLUDES(mutex);
  void Report(Source& source, const Reading& reading) REQUIRES(mutex);
  Source* FindDue() REQUIRES(mutex);
  bool IsBusy() REQUIRES(mutex);

  const Read read;

  Mutex mutex;
  Condition changed;
  DeviceEngine* engine GUARDED_BY(mutex);  // null when the poller is gone
  std::list<Source> sources;               // the list itself never changes
  // The thread that takes the sources; others end when they can.
  unsigned long reader GUARDED_BY(mutex) = 0;
  Source* current GUARDED_BY(mutex) = nullptr;  // what that thread reads
  unsigned long readings GUARDED_BY(mutex) = 0;
};

SourcePoller::Shared::Source* SourcePoller::Shared::FindDue() {
  for (Source& source : sources) {
    if (source.due) return &source;
  }
  return nullptr;
}

// A source that is due counts before the reader wakes: it may be the one that hangs.
bool SourcePoller::Shared::IsBusy() { return current != nullptr || FindDue() != nullptr; }

// A reader's thread: reads what is due until another reader takes its place.
void SourcePoller::Shared::Run(unsigned long id) {
  while (Source* const source = Take(id)) {
    const Reading reading = ReadSource(read, source->point);
    const MutexLock guard(mutex);
    source->busy = false;
    Report(*source, reading);
    if (reader == id) current = nullptr;
    changed.NotifyAll();
  }
}

// Waits for a source that is due; null when another thread takes them.
SourcePoller::Shared::Source* SourcePoller::Shared::Take(unsigned long id) {
  const MutexLock guard(mutex);
  while (reader == id && FindDue() == nullptr) changed.Wait(mutex);
  if (reader != id) return nullptr;
  current = FindDue();
  current->due = false;
  current->busy = true;
  ++readings;
  return current;
}

// Gives the reading to the engine, and logs a new problem or its end. Releases the lock for that,
// as the log may block.
void SourcePoller::Shared::Report(Source& source, const Reading& reading) {
  if (engine == nullptr) return;
  try {
    engine->SetFromSource(source.point.id, reading.problem ? nullptr : &reading.value);
    if (source.problem.Text() == reading.problem.Text()) return;
    source.problem = reading.problem;
  } catch (...) {
    return;  // out of memory: the next round tells again
  }
  mutex.Unlock();
  if (reading.problem) {
    HOST_LOG(4, "point %d has no value: %s", int{source.point.id}, reading.problem.Text().c_str());
  } else {
    HOST_LOG(5, "point %d has a value again", int{source.point.id});
  }
  mutex.Lock();
}

SourcePoller::SourcePoller(DeviceEngine& engine, Read read)
    : m_intervalMs(int64_t{engine.Model().pollSeconds} * 1000),
      m_shared(std::make_shared<Shared>(engine, std::move(read))) {}

SourcePoller::~SourcePoller() {
  const MutexLock guard(m_shared->mutex);
  m_shared->engine = nullptr;
  ++m_shared->reader;
  m_shared->changed.NotifyAll();
}

void SourcePoller::Want(Wait& wait) {
  if (m_shared->sources.empty()) return;
  wait.Until(m_nextRoundMs);
  const MutexLock guard(m_shared->mutex);
  if (m_shared->IsBusy() || m_needsReader) wait.Until(m_nextLookMs);
}

void SourcePoller::Serve(const Wait& /*wait*/, int64_t nowMs) {
  if (m_shared->sources.empty()) return;
  if (nowMs >= m_nextRoundMs) {
    m_nextRoundMs = nowMs + m_intervalMs;
    BeginRound();
  }
  if (nowMs >= m_nextLookMs) {
    m_nextLookMs = nowMs + kAnswerMs;
    FindHanging();
    if (m_needsReader) StartReader();
  }
}

void SourcePoller::BeginRound() {
  const MutexLock guard(m_shared->mutex);
  for (Shared::Source& source : m_shared->sources) source.due = !source.busy;
  m_shared->changed.NotifyAll();
}

// A source that is still being read since the last look keeps its thread to itself.
void SourcePoller::FindHanging() {
  const MutexLock guard(m_shared->mutex);
  const bool hangs = m_shared->current != nullptr && m_shared->readings == m_seen;
  m_seen = m_shared->readings;
  if (!hangs) return;
  Shared::Source& source = *std::exchange(m_shared->current, nullptr);
  ++m_shared->reader;
  m_needsReader = true;
  Reading reading;
  reading.problem = Problem("no answer").With(LocalPath(source.point.source->path));
  m_shared->Report(source, reading);
}

void SourcePoller::StartReader() {
  unsigned long id = 0;
  {
    const MutexLock guard(m_shared->mutex);
    id = m_shared->reader;
  }
  try {
    StartQuietThread([shared = m_shared, id] { shared->Run(id); }).detach();
    m_needsReader = m_failureLogged = false;
  } catch (const std::exception& error) {
    if (m_failureLogged) return;
    m_failureLogged = true;
    HOST_LOG(3, "sources are not read: %s", error.what());
  }
}

bool SourcePoller::AwaitRound(int limitMs) {
  const int64_t end = MonotonicMs() + limitMs;
  for (;;) {
    {
      const MutexLock guard(m_shared->mutex);
      if (!m_shared->IsBusy()) return true;
    }
    // A condition variable's timed wait would follow another clock than this one.
    if (MonotonicMs() >= end) return false;
    usleep(kRoundPauseUs);
  }
}

}  // namespace host
