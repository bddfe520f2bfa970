// SPDX-License-Identifier: Apache-2.0
#ifndef DEVICE_DATAFILES_H_
#define DEVICE_DATAFILES_H_

#include <string>

namespace cloudclient {

// Searches for `fileName` in the data folder of the device whose product sequence identifier is
// `sequence` ("1.2.3": below the data folder of all devices, 1/2/3), then in the folders above it
// up to the root. True, and its full path in `path`, a path of the appliance. False, and `path` as
// it was, for an empty identifier, and for one that begins with a full stop when the file is not
// found below the data folder of all devices. Does not return otherwise while the file is nowhere
// on the way up; where the policy ends the search, the data folder of all devices is the last that
// is looked into.
bool FindDataFile(const std::string& sequence, const std::string& fileName, std::string& path);

}  // namespace cloudclient

#endif  // DEVICE_DATAFILES_H_
