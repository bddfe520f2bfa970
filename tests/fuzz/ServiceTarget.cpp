// SPDX-License-Identifier: Apache-2.0
// Targets of requests to the service.
#include "Input.h"
#include "service/http/Target.h"

namespace cloudservice {

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = fuzz::Input(data, size).Rest();
  const Target target(text);
  const std::string shown = target.Loggable();
  fuzz::Require(shown.size() <= text.size() + 3, "what is shown of a target is a part of it");
  for (const char* key : {"?registration_key=", "&registration_key="}) {
    fuzz::Require(shown.find(key) == std::string::npos || text.find('?') > text.find(key),
                  "no key is shown");
  }
  if (!target.IsPath()) return 0;
  for (const std::string& segment : target.Segments()) {
    fuzz::Require(!segment.empty() && segment != "." && segment != "..", "a segment is a name");
    fuzz::Require(segment.find('/') == std::string::npos, "a segment has no slash");
  }
  const Target again(target.Path());
  fuzz::Require(again.Segments() == target.Segments(), "a path leads where its target does");
  fuzz::Require(again.Path() == target.Path(), "a path is one text");
  for (const auto& [name, value] : target.Options()) {
    fuzz::Require(name == "pretty" || name.rfind('$', 0) == 0, "an option has a mark");
  }
  const auto parameters = target.Parameters();
  if (!parameters) return 0;
  for (const auto& [name, value] : *parameters) target.Value(name);
  return 0;
}

}  // namespace cloudservice
