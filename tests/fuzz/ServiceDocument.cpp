// SPDX-License-Identifier: Apache-2.0
// Bodies of requests: what is taken, merged into a document, shown and recorded of it.
#include "Input.h"
#include "PayloadCheck.h"
#include "service/json/Numbers.h"
#include "service/redfish/Body.h"
#include "service/redfish/Shape.h"

namespace cloudservice {

namespace {

constexpr const char* kBefore = R"({"Name": "a", "Temperatures": [{"ReadingCelsius": 1}],
    "Oem": {"Quorvan": {"A": 1, "B": {"C": null}}}, "Status": {"State": "Enabled"}})";

// What follows a link within the service.
std::string Resolve(const std::string& path) {
  if (path == "/redfish/v1/Chassis/c") return "Chassis";
  if (path == "/redfish/v1/Managers/u") return "Manager";
  return path == "/redfish/v1/Chassis/c/Sensors/1" ? "Sensor" : "";
}

void Show(const char* type, const std::string& path, const std::string& document) {
  const Json view = Shaped(TypeNamed(type), path, ParseStored(document), Resolve);
  const std::vector<std::string> faults = FaultsOf(view);
  if (!faults.empty()) std::fprintf(stderr, "%s\n", faults.front().c_str());
  fuzz::Require(faults.empty(), "what is shown is what its type says");
  const std::string text = CompactText(view);
  fuzz::Require(Json::parse(text) == view, "what is shown is JSON");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string body = fuzz::Input(data, size).Rest();
  Json patch;
  try {
    patch = ParseBody(body);
  } catch (const Refusal& refusal) {
    fuzz::Require(refusal.Status() == 400, "a body that cannot be is refused");
    return 0;
  }
  const std::string merged = MergedText(kBefore, patch);
  fuzz::Require(MergedText(merged, patch) == merged, "a patch changes nothing the second time");
  NumberFinder finder(patch);
  for (const auto& [number, pointer] : NumberPlacesOf(patch)) {
    fuzz::Require(Json::parse(number.value).is_number(), "a number is recorded as one");
    const NumberFinder::Found found = finder.Find(StepsOf(number.member));
    fuzz::Require(found.present && found.pointer == pointer, "a number is found by its name");
  }
  Show(types::kChassis, "/redfish/v1/Chassis/c", merged);
  Show(types::kThermal, "/redfish/v1/Chassis/c/Thermal", merged);
  Show(types::kSensor, "/redfish/v1/Chassis/c/Sensors/1", merged);
  Show(types::kEnvironmentMetrics, "/redfish/v1/Chassis/c/EnvironmentMetrics", merged);
  Show(types::kDocument, "/redfish/v1/Chassis/c/x", merged);
  Show(types::kDocument, "/redfish/v1/Chassis/c/y", StoredText(patch));
  return 0;
}

}  // namespace cloudservice
