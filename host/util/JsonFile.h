// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_JSONFILE_H_
#define HOST_UTIL_JSONFILE_H_

#include <string>

#include "host/util/Json.h"

namespace host {

enum class FileState { kRead, kMissing, kBad };

// Reads a file that holds one JSON object. kBad: `problem` names the file, and line and column
// where it does not parse; it quotes nothing of what the file holds. `object` is set only for
// kRead.
FileState ReadJsonObject(const std::string& path, JsonRef& object, std::string& problem);

}  // namespace host

#endif  // HOST_UTIL_JSONFILE_H_
