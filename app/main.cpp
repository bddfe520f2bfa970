// SPDX-License-Identifier: Apache-2.0
// The program: makes the application and runs it.
#include <cstring>

#include "app/CloudClient.h"

namespace {

// Exit status of a policy that is none. A service manager need not try again: cloudclient.service.
constexpr int kWrongPolicy = 2;

}  // namespace

// The application is destroyed also when an exception leaves it, which ends the process.
// Kept: docs/kept-behaviour.md#thrown-answer-ends
int main(int argc, char** argv) {
  const char* const path = argc > 0 ? argv[0] : "cloudclient";
  const char* const slash = strrchr(path, '/');
  try {
    cloudclient::CloudClient client(slash == nullptr ? path : slash + 1);
    if (!client.TakePolicy()) return kWrongPolicy;
    client.Start();
  } catch (...) {
    throw;
  }
  return 0;
}
