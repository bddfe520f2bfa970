// SPDX-License-Identifier: Apache-2.0
#include "Fuzz.h"

#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);

// The fuzzer's thread that watches the memory would sleep by the doubles, that is not at all: it is
// switched off. Single allocations are limited instead.
int LLVMFuzzerInitialize(int* argc, char*** argv) {
  static char noThread[] = "-rss_limit_mb=0";
  static char limit[] = "-malloc_limit_mb=1024";
  static std::vector<char*> arguments;
  arguments.assign(*argv, *argv + *argc);
  arguments.insert(arguments.begin() + 1, {noThread, limit});
  *argc = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  *argv = arguments.data();
  fakes::Reset();
  return 0;
}

namespace fuzz {

void Forget() {
  fakes::Platform& platform = fakes::platform();
  platform.log.records.clear();
  platform.pages.asked.clear();
  platform.proxy.pointsAsked.clear();
  platform.configCalls.clear();
  platform.sleeps.microseconds.clear();
  fakes::curl().transfers.clear();
}

}  // namespace fuzz
