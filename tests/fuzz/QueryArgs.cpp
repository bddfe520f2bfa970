// SPDX-License-Identifier: Apache-2.0
// The text of query arguments.
#include <algorithm>

#include "Fuzz.h"
#include "patch/PatchMap.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = fuzz::Input(data, size).Rest();
  int32_t args[cloudclient::kQueryArgs] = {};
  const int32_t result =
      cloudclient::PatchMap::ConvertQueryArgs(text, args, cloudclient::kQueryArgs);
  const auto commas = std::count(text.begin(), text.end(), ',');
  fuzz::Require(result == 0 || result == -1, "a conversion answers 0 or -1");
  fuzz::Require(result == -1 || commas + 1 >= cloudclient::kQueryArgs,
                "a short list does not convert");
  fuzz::Require((result == 0) == fakes::platform().log.records.empty(),
                "a failed conversion, and no other, is told");
  fuzz::Forget();
  return 0;
}
