// SPDX-License-Identifier: Apache-2.0
// Lines of the control socket.
#include "Input.h"
#include "host/device/ControlProtocol.h"
#include "host/device/DeviceEngine.h"

namespace {

host::DeviceModel Model() {
  const host::JsonRef root(json_loads(
      R"({"Points": [{"Id": 1201, "Value": "21", "Unit": "degF"}],
          "Events": [{"GddId": 4711, "Modules": 2, "When": {"Point": 1201, "Above": 30}}]})",
      0, nullptr));
  std::vector<std::string> problems;
  return host::ParseDeviceModel(root.get(), problems);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static host::DeviceEngine engine(Model());
  const std::string answer =
      host::AnswerControlLine(engine, std::string(reinterpret_cast<const char*>(data), size));
  const host::JsonRef parsed(json_loadb(answer.data(), answer.size(), JSON_ALLOW_NUL, nullptr));
  fuzz::Require(json_is_object(parsed.get()), "an answer is a JSON object");
  fuzz::Require(json_is_boolean(json_object_get(parsed.get(), "ok")),
                "it says whether it was done");
  fuzz::Require(answer.find('\n') == std::string::npos, "it is one line");
  return 0;
}
