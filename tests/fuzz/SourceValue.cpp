// SPDX-License-Identifier: Apache-2.0
// Texts and numbers of sources as values of a point: its states, its scale.
#include <cstring>

#include "SourceSink.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  host::PointModel point;
  point.decimals = static_cast<int>(input.Choice(10));
  if (input.Choice(2) == 1) point.scale = 0.001;
  for (size_t states = input.Choice(3); states > 0; --states) {
    point.states.push_back({input.Text(), 1, "On"});
  }
  const std::string text = input.Rest();
  double number = 0;
  std::memcpy(&number, text.data(), std::min(text.size(), sizeof(number)));
  std::string value;
  if (!host::ValueOfNumber(point, number, value)) {
    fuzz::Require(!value.empty() && value.find("nan") == std::string::npos &&
                      value.find("inf") == std::string::npos,
                  "a number's value is a number or a state");
  }
  if (host::ValueOfText(point, text, value)) return 0;
  fuzz::Require(host::JsonString(value) != nullptr, "a value is UTF-8");
  fuzz::Require(value.find_first_of("\"\\\n") == std::string::npos, "a value is harmless");
  fuzz::Require(value.size() <= 400, "a value is short");
  return 0;
}
