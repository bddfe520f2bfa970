// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCEPOLLER_H_
#define HOST_DEVICE_SOURCEPOLLER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/device/DeviceEngine.h"
#include "host/util/EventThread.h"
#include "host/util/Problem.h"

namespace host {

// The value of a point from its file: that of the number in it (PointValue.h). Blocks for as long
// as the file does.
Problem ReadFileSource(const PointModel& point, std::string& value);

// Reads the points whose source is a file at the device's interval and gives their values to the
// engine, which it borrows. A source that fails is logged once, and again when it has a value.
//
// A thread of its own reads one source after the other, for a source may block: a sensor that
// hangs, a file on a network. A source that blocks for more than five to ten seconds has no value
// until it answers. It keeps its thread, and a new thread reads the others.
class SourcePoller : public EventSource {
 public:
  // Reads a source, as ReadFileSource does. May block, and throw; several threads at once.
  using Read = std::function<Problem(const PointModel& point, std::string& value)>;

  explicit SourcePoller(DeviceEngine& engine, Read read = &ReadFileSource);
  // Does not wait for a source that is being read; its value is dropped.
  ~SourcePoller() override;
  SourcePoller(const SourcePoller&) = delete;
  SourcePoller& operator=(const SourcePoller&) = delete;

  void Want(Wait& wait) override;
  // Begins a round when it is due. Starts another reader when a source hangs. Does not block.
  void Serve(const Wait& wait, int64_t nowMs) override;

  // Waits until every source of the current round was read or is known to hang, `limitMs` at most.
  // False when that took longer.
  bool AwaitRound(int limitMs);

 private:
  struct Shared;

  void BeginRound();
  void FindHanging();
  void StartReader();

  const int64_t m_intervalMs;
  const std::shared_ptr<Shared> m_shared;  // with the threads, which may outlive this
  int64_t m_nextRoundMs = 0;
  int64_t m_nextLookMs = 0;
  unsigned long m_seen = 0;  // what was being read at the last look
  bool m_needsReader = true;
  bool m_failureLogged = false;
};

}  // namespace host

#endif  // HOST_DEVICE_SOURCEPOLLER_H_
