// SPDX-License-Identifier: Apache-2.0
// The library's entry.
#include "host/device/sources/modbus/Modbus.h"

HOST_SOURCE_MODULE(host::ModbusModule);
