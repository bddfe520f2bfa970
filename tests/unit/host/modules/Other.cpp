// SPDX-License-Identifier: Apache-2.0
// A module of another version.
#include "host/device/sources/SourceModule.h"

extern "C" __attribute__((visibility("default"))) const host::SourceEntry cloudclient_source;
const host::SourceEntry cloudclient_source = {host::kSourceInterface + 1, nullptr};
