#ifndef HOST_SOURCEPOLLER_H_
#define HOST_SOURCEPOLLER_H_

#include <cstdint>
#include <map>
#include <string>

#include "host/DeviceEngine.h"
#include "host/EventThread.h"

namespace host {

// The value of a point from its file: the number in it times the scale, with the point's decimals.
// False, and what is wrong in `problem`, when the file holds no number.
bool ReadFileSource(const PointModel& point, std::string& value, std::string& problem);

// Reads the points' sources every so many seconds and tells the engine, which it borrows. A source
// that fails costs one message, until it tells something again.
class SourcePoller : public EventSource {
 public:
  explicit SourcePoller(DeviceEngine& engine) : m_engine(engine) {}

  void Want(Wait& wait) override;
  void Serve(const Wait& wait, int64_t nowMs) override;

  // Reads them all.
  void Poll();

 private:
  DeviceEngine& m_engine;
  std::map<uint16_t, std::string> m_problems;
  int64_t m_nextMs = 0;
};

}  // namespace host

#endif  // HOST_SOURCEPOLLER_H_
