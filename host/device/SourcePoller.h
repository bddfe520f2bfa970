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

// The value of a point from its file: the number in it times the scale, with the point's decimals.
// Blocks for as long as the file does.
Problem ReadFileSource(const PointModel& point, std::string& value);

// Has the points' sources read every so many seconds and tells the engine, which it borrows. A
// source that fails costs one message, until it tells something again.
//
// They are read one after the other on a thread of its own, for a source may block: a sensor that
// hangs, a file of a network. One that does so for more than five to ten seconds has no value until
// it answers and keeps that thread; a new one reads the others.
class SourcePoller : public EventSource {
 public:
  // Reads a source, as ReadFileSource does. May block, and throw; several threads at once.
  using Read = std::function<Problem(const PointModel& point, std::string& value)>;

  explicit SourcePoller(DeviceEngine& engine, Read read = &ReadFileSource);
  // Waits for no source. What one tells afterwards is told to nobody.
  ~SourcePoller() override;
  SourcePoller(const SourcePoller&) = delete;
  SourcePoller& operator=(const SourcePoller&) = delete;

  void Want(Wait& wait) override;
  // Begins a round when it is time, and looks after a source that hangs. Does not wait for either.
  void Serve(const Wait& wait, int64_t nowMs) override;

  // Waits until every source of the round that was begun has told or hangs for good, `limitMs` at
  // most; false when it took longer.
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
