// SPDX-License-Identifier: Apache-2.0
// The library's entry.
#include "host/device/sources/command/Command.h"

HOST_SOURCE_MODULE(host::CommandModule);
