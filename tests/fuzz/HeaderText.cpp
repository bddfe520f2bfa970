// SPDX-License-Identifier: Apache-2.0
// The searches in a response's header block.
#include "app/HeaderText.h"

#include "Fuzz.h"

namespace {

void Search(bool (*find)(const std::string&, std::string&), const std::string& header) {
  const std::string before = "before";
  std::string value = before;
  if (find(header, value)) {
    fuzz::Require(value.find('\r') == std::string::npos, "a value ends at the first CR");
    fuzz::Require(header.find(value) != std::string::npos, "a value is a part of the header");
  } else {
    fuzz::Require(value == before, "without a value the output is untouched");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string header = fuzz::Input(data, size).Rest();
  Search(cloudclient::FindLocation, header);
  Search(cloudclient::FindToken, header);
  return 0;
}
