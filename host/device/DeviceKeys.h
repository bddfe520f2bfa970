// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_DEVICEKEYS_H_
#define HOST_DEVICE_DEVICEKEYS_H_

#include <cstddef>
#include <vector>

#include "host/util/JsonKeys.h"
#include "platform/pld/PldConstants.h"

namespace host {

// The longest value: the buffer of a change of value holds two bytes and a NUL beside it.
constexpr size_t kLongestValue = pld::kCovValueSize - 3;

// Every key of the device's file, those of the objects in it among them.
std::vector<JsonKey> DeviceKeys();

}  // namespace host

#endif  // HOST_DEVICE_DEVICEKEYS_H_
