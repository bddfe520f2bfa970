// SPDX-License-Identifier: Apache-2.0
// The replacement of temperature tags and seven-day words.
#include <algorithm>

#include "Fuzz.h"
#include "patch/PatchMgr.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static cloudclient::PatchMgr patch;
  patch.SetPldProxy(&fakes::platform().proxy);
  fuzz::Input input(data, size);
  // A value that names a tag could name its own, and a document that ends in a tag is searched for
  // ever: neither is fuzzed.
  std::string value = input.Text();
  value.erase(std::remove(value.begin(), value.end(), '~'), value.end());
  fakes::platform().proxy.points[1] = value;
  std::string document = input.Rest() + "}";
  const auto tildes = std::count(document.begin(), document.end(), '~');

  patch.FillSevenDayValues(document);
  patch.UpdateDocWithTempUomValues(1, document);
  fuzz::Require(document.back() == '}', "what stands behind the last tag stays");
  const auto left = std::count(document.begin(), document.end(), '~');
  fuzz::Require(tildes - left >= static_cast<long>(fakes::platform().proxy.pointsAsked.size()),
                "each query replaces a tag");
  patch.PatchValueSubstitute(document, value);
  fuzz::Forget();
  return 0;
}
