// SPDX-License-Identifier: Apache-2.0
// Whether the configuration's files can be read.
#include "ctl/ConfigFiles.h"

#include <cerrno>

#include "ctl/Output.h"
#include "host/util/JsonFile.h"
#include "host/util/Paths.h"
#include "platform/util/LocalPath.h"

namespace ctl {

bool ConfigFilesAreReadable() {
  for (const char* path : {host::kCloudFile, host::kSysInfoFile}) {
    host::JsonRef object;
    const host::Problem problem = host::ReadJsonObject(LocalPath(path), object);
    if (problem && problem.Errno() != ENOENT) {
      PrintError(problem.Text());
      return false;
    }
  }
  return true;
}

}  // namespace ctl
