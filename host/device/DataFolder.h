// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_DATAFOLDER_H_
#define HOST_DEVICE_DATAFOLDER_H_

#include <optional>
#include <string>
#include <vector>

namespace host {

// The folders in which a device's pages are looked for, as paths of the appliance: that of its
// product sequence identifier first ("1.2" is ".../0/1/2"), the data folder itself last.
std::vector<std::string> PageFolders(const std::string& psi);

// Where a data file of the device lies, as a path of the appliance: in the folder of its product
// sequence identifier or the nearest above it; empty when it is nowhere.
std::string PathOfDataFile(const std::string& psi, const std::string& name);

// Says, level 4, which of the data files that the daemon looks for is in none of the folders from
// the device's own up to the root: its search for such a file does not end.
void CheckDataFiles(const std::optional<std::string>& psi);

}  // namespace host

#endif  // HOST_DEVICE_DATAFOLDER_H_
