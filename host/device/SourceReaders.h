// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCEREADERS_H_
#define HOST_DEVICE_SOURCEREADERS_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/device/DeviceEngine.h"
#include "host/device/SourceSetup.h"
#include "host/util/EventThread.h"

namespace host {

// Reads the sources of modules, each connection on a thread of its own, and gives what they tell to
// the engine, which it borrows. A connection that fails is logged once, and again when it answers;
// it is tried again after pauses that grow to a minute, or to its interval where that is longer.
// One that neither tells anything nor returns for longer than its limits allow has no values until
// it does.
class SourceReaders : public EventSource {
 public:
  // The model that the sources were prepared from is the engine's.
  SourceReaders(DeviceEngine& engine, PreparedSources prepared);
  // Waits a second at most for what is being read; what comes later is dropped.
  ~SourceReaders() override;
  SourceReaders(const SourceReaders&) = delete;
  SourceReaders& operator=(const SourceReaders&) = delete;

  void Want(Wait& wait) override;
  // Starts the threads, and looks for connections that hang. Does not block.
  void Serve(const Wait& wait, int64_t nowMs) override;

  // Waits until each connection was read once, or failed, `limitMs` at most. False when that took
  // longer.
  bool AwaitFirst(int limitMs);

 private:
  class Reader;

  void Start();

  const std::shared_ptr<Fd> m_stop;
  std::vector<std::shared_ptr<Reader>>
      m_readers;  // shared with the threads, which may outlive this
  size_t m_started = 0;
  int64_t m_nextStartMs = 0;
  int64_t m_lastLookMs = 0;
  bool m_failureLogged = false;
};

}  // namespace host

#endif  // HOST_DEVICE_SOURCEREADERS_H_
