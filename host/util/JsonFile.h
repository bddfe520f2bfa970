// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_JSONFILE_H_
#define HOST_UTIL_JSONFILE_H_

#include <string>

#include "host/util/Json.h"
#include "host/util/Problem.h"

namespace host {

// Reads a file that holds one JSON object; `object` stays as it was when it can't. A problem names
// the file, and line and column where it does not parse; it quotes nothing of what the file holds.
// Its errno is ENOENT for a file that is missing, and for no other.
Problem ReadJsonObject(const std::string& path, JsonRef& object);

}  // namespace host

#endif  // HOST_UTIL_JSONFILE_H_
