// SPDX-License-Identifier: Apache-2.0
// The policy file, and the place of what is wrong in it.
#include <algorithm>

#include "Fuzz.h"
#include "base/PolicyFile.h"

namespace {

// A problem's place lies in the text, or right behind it.
void RequirePlace(const std::string& problem, const std::string& text) {
  size_t line = 0;
  size_t column = 0;
  fuzz::Require(std::sscanf(problem.c_str(), "f: line %zu, column %zu: ", &line, &column) == 2,
                "a problem names its place");
  const auto lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
  fuzz::Require(line >= 1 && line <= lines, "the line is one of the text");
  fuzz::Require(column <= text.size() + 1, "the column is none beyond the text");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = fuzz::Input(data, size).Rest();
  const cloudclient::PolicyReading reading = cloudclient::ParsePolicy("f", text);
  const cloudclient::PolicyReading again = cloudclient::ParsePolicy("f", text);
  fuzz::Require(reading.problem == again.problem, "a text is read alike each time");
  const size_t keys = cloudclient::DefaultPolicyValues().size();
  if (reading.problem.empty()) {
    fuzz::Require(reading.values.size() == keys, "each key has a value");
    fuzz::Require(reading.policy.transport.stallSeconds <= 86400, "values are within their range");
  } else {
    RequirePlace(reading.problem, text);
    fuzz::Require(reading.values.empty() && !reading.policy.transport.HasDeadline(),
                  "nothing of a wrong file is in force");
  }
  return 0;
}
