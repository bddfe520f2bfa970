// SPDX-License-Identifier: Apache-2.0
// The description of the managed device, and the engine that is made of it.
#include <memory>

#include "Input.h"
#include "host/device/ControlProtocol.h"
#include "host/device/DeviceEngine.h"
#include "host/device/Pages.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const host::JsonRef root(json_loadb(reinterpret_cast<const char*>(data), size,
                                      JSON_ALLOW_NUL | JSON_DECODE_ANY, nullptr));
  if (!json_is_object(root.get())) return 0;
  std::vector<std::string> problems;
  host::DeviceEngine engine(host::ParseDeviceModel(root.get(), problems));
  for (const auto& point : engine.Points()) {
    std::string text;
    engine.PointText(point.model->id, text);
    engine.CelsiusText(point.model->id, text);
    if (point.model->source) {
      const std::string value = "21";
      engine.SetFromSource(point.model->id, &value);
      engine.SetFromSource(point.model->id, nullptr);
    } else {
      fuzz::Require(!engine.SetPoint(point.model->id, "21"), "a known point can be set");
      fuzz::Require(!engine.SetPoint(point.model->id, ""), "a value can be taken away");
    }
  }
  fuzz::Require(!host::AnswerControlLine(engine, R"({"op":"list"})").empty(), "a list is answered");
  const std::string page =
      host::RenderPage(engine, "uuid", "{{label}} {{psi}} {{point:1|null}} {{point:");
  fuzz::Require(page.find('\0') == std::string::npos, "no value holds a NUL byte");
  return 0;
}
