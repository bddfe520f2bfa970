// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_CREDENTIALS_H_
#define HOST_DEVICE_SOURCES_CREDENTIALS_H_

#include <string>
#include <vector>

#include "host/util/Json.h"
#include "host/util/JsonKeys.h"
#include "host/util/Problem.h"

namespace host {

// Reads the file of a connection's credentials, an object of texts with some of `keys`. `path` is
// the appliance's. A problem when it can't be read, when others than its owner may read or write
// it, and when it holds something else; it quotes nothing of what the file holds.
Problem ReadCredentials(const std::string& path, const std::vector<std::string>& keys,
                        JsonRef& credentials);

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_CREDENTIALS_H_
