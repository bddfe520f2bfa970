// SPDX-License-Identifier: Apache-2.0
// Targets of requests to the service.
#include "Input.h"
#include "service/http/Target.h"

namespace cloudservice {

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = fuzz::Input(data, size).Rest();
  const std::string shown = LoggableTarget(text);
  fuzz::Require(shown.size() <= text.size() + 3, "what is shown of a target is a part of it");
  for (const char* key : {"?registration_key=", "&registration_key="}) {
    fuzz::Require(shown.find(key) == std::string::npos || text.find('?') > text.find(key),
                  "no key is shown");
  }
  const std::optional<Target> target = ParseTarget(text);
  if (!target) return 0;
  for (const std::string& segment : target->segments) {
    fuzz::Require(!segment.empty() && segment != "." && segment != "..", "a segment is a name");
    fuzz::Require(segment.find('/') == std::string::npos, "a segment has no slash");
  }
  const std::optional<Target> again = ParseTarget(target->Path());
  fuzz::Require(again && again->segments == target->segments, "a path leads where its target does");
  fuzz::Require(again->Path() == target->Path(), "a path is one text");
  for (const auto& [name, value] : target->Options()) {
    fuzz::Require(name.rfind('$', 0) == 0, "an option begins with $");
  }
  const auto parameters = target->Parameters();
  if (!parameters) return 0;
  for (const auto& [name, value] : *parameters) target->Value(name);
  return 0;
}

}  // namespace cloudservice
