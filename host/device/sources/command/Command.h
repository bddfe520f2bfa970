// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_COMMAND_COMMAND_H_
#define HOST_DEVICE_SOURCES_COMMAND_COMMAND_H_

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/device/sources/JsonPointer.h"
#include "host/device/sources/SourceModule.h"

namespace host {

// Programs: a connection is a program, which is run once a reading, a point the first line that it
// writes, or a place in the JSON document that it writes.
class CommandModule : public SourceModule {
 public:
  std::vector<JsonKey> ConnectionKeys() const override;
  std::vector<JsonKey> PointKeys() const override;
  std::unique_ptr<SourceConnection> Open(const std::string& settings, const SourceLimits& limits,
                                         SettingFaults& faults) const override;
};

// A point of a program's output.
struct OutputPoint {
  size_t point = 0;
  std::optional<JsonPointer> pointer;  // none: the first line
};

// Tells points what a program wrote. A problem, when a pointer asks for a document and the output
// is none.
Problem TellOutput(const std::string& output, const std::vector<OutputPoint>& points,
                   SourceSink& sink);

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_COMMAND_COMMAND_H_
