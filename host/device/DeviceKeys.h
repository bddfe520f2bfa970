// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_DEVICEKEYS_H_
#define HOST_DEVICE_DEVICEKEYS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "host/util/JsonKeys.h"
#include "platform/pld/PldConstants.h"

namespace host {

// The longest value: the buffer of a change of value holds two bytes and a NUL beside it.
constexpr size_t kLongestValue = pld::kCovValueSize - 3;

// Every key of the device's file, those of the objects in it among them. What is in the objects of
// sources stands in FileSourceKeys and in the tables of modules (SourceModule.h).
std::vector<JsonKey> DeviceKeys();

// The keys of every source: what kind it is.
std::vector<JsonKey> SourceKeys();

// The keys of a point's source that is a file.
std::vector<JsonKey> FileSourceKeys();

// The keys of a description that the tables here do not hold, as UnknownKeysOf tells them; those of
// sources of modules are looked at where the modules are known (SourceSetup.h).
std::vector<std::string> UnknownDeviceKeys(const json_t* root);

}  // namespace host

#endif  // HOST_DEVICE_DEVICEKEYS_H_
