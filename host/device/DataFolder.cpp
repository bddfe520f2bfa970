// SPDX-License-Identifier: Apache-2.0
// Where a device's pages and data files are looked for.
#include "host/device/DataFolder.h"

#include <sys/stat.h>

#include <algorithm>

#include "host/util/Files.h"
#include "host/util/Log.h"
#include "platform/pld/PldConstants.h"
#include "platform/util/LocalPath.h"

namespace host {
namespace {

std::string DeviceFolder(const std::string& psi) {
  std::string folder = pld::kDataFolder;
  if (psi.empty()) return folder;
  std::string below = psi;
  std::replace(below.begin(), below.end(), '.', '/');
  return folder + "/" + below;
}

bool IsThere(const std::string& path) {
  struct stat status = {};
  return stat(LocalPath(path).c_str(), &status) == 0;
}

}  // namespace

std::vector<std::string> PageFolders(const std::string& psi) {
  std::vector<std::string> folders;
  for (std::string folder = DeviceFolder(psi); folder != pld::kDataFolder;
       folder = FolderOf(folder)) {
    folders.push_back(folder);
  }
  folders.push_back(pld::kDataFolder);
  return folders;
}

std::string PathOfDataFile(const std::string& psi, const std::string& name) {
  for (std::string folder = DeviceFolder(psi); folder != "/"; folder = FolderOf(folder)) {
    std::string path = folder + "/" + name;
    if (IsThere(path)) return path;
  }
  return {};
}

void CheckDataFiles(const std::optional<std::string>& psi) {
  if (!psi) {
    HOST_LOG(4, "the device has no product sequence id: its data files are not looked for");
    return;
  }
  for (const char* name : {pld::kChassisTemplateFile, pld::kPatchMapFile}) {
    if (!PathOfDataFile(*psi, name).empty()) continue;
    HOST_LOG(4, "%s is neither in %s nor in a folder above it", name, DeviceFolder(*psi).c_str());
  }
}

}  // namespace host
