// SPDX-License-Identifier: Apache-2.0
// The library's entry.
#include "host/device/sources/redfish/Redfish.h"

HOST_SOURCE_MODULE(host::RedfishModule);
