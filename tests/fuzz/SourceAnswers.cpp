// SPDX-License-Identifier: Apache-2.0
// What programs and controllers write, as values of points.
#include <algorithm>

#include "SourceSink.h"
#include "host/device/sources/command/Command.h"
#include "host/device/sources/redfish/Redfish.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const auto pointer = host::JsonPointer::Parse(input.Text());
  const std::string answer = input.Rest();
  fuzz::Sink ofProgram(2);
  const std::vector<host::OutputPoint> outputs = {{0, std::nullopt}, {1, pointer}};
  const bool failed = bool{host::TellOutput(answer, outputs, ofProgram)};
  const int times = failed ? 0 : 1;
  fuzz::Require(ofProgram.told == std::vector<int>(2, times), "each point is told once");
  if (!pointer) return 0;
  fuzz::Sink ofController(1);
  host::TellResource(answer, {{0, *pointer}}, ofController);
  fuzz::Require(ofController.told[0] == 1, "a place is told");
  return 0;
}
