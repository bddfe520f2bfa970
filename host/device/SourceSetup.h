// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCESETUP_H_
#define HOST_DEVICE_SOURCESETUP_H_

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "host/device/DeviceModel.h"
#include "host/device/SourceLoader.h"
#include "host/device/sources/SourceModule.h"
#include "host/util/Fd.h"

namespace host {

// An event that a source raises and clears.
struct SourceEvent {
  uint16_t gddId = 0;
  uint32_t module = 0;
  uint16_t state = kAlarm;  // when it is raised
};

// A connection with all that it tells.
struct PreparedSource {
  std::string name;  // in messages: that of the file, or the kind and what distinguishes it
  int64_t intervalMs = 0;
  SourceLimits limits;
  std::unique_ptr<SourceConnection> connection;
  std::vector<const PointModel*> points;  // by the number by which the connection tells of it
  std::vector<SourceEvent> events;
};

// Every source of a device but its files, ready to be read.
struct PreparedSources {
  std::shared_ptr<Fd> stop;  // the limits' stopFd; null where there are none
  std::vector<PreparedSource> sources;
  std::vector<uint16_t> unserved;  // points that no source will tell
};

// A kind of source that can't be read, and why.
struct MissingModule {
  std::string type;
  std::string reason;
};

// Loads the modules that the device's sources need and makes their connections, without connecting.
// Points and events that are described alike share a connection. What is wrong is added to
// `problems`, keys that are not known to `unknown`, modules that are missing to `missing`. Borrows
// the model as long as what it answers is used.
PreparedSources PrepareSources(const DeviceModel& model, SourceLoader& loader,
                               std::vector<std::string>& problems,
                               std::vector<std::string>& unknown,
                               std::vector<MissingModule>& missing);

// The same of the device's file, with everything logged.
PreparedSources LoadSources(const DeviceModel& model, const std::string& path);

}  // namespace host

#endif  // HOST_DEVICE_SOURCESETUP_H_
