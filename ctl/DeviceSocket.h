// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_DEVICESOCKET_H_
#define CTL_DEVICESOCKET_H_

#include <string>

#include "host/util/Json.h"

namespace ctl {

// What came of a request to the device's control socket.
enum class Reach { kAnswered, kNobodyThere, kBroken };

// Sends one request, a JSON object, to the daemon's control socket and waits for the answer,
// `seconds` at most. kAnswered: `answer` is an object. Else `problem` says what happened.
Reach AskDevice(const json_t* request, double seconds, host::JsonRef& answer, std::string& problem);

}  // namespace ctl

#endif  // CTL_DEVICESOCKET_H_
