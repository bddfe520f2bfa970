// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_DEVICESOCKET_H_
#define CTL_DEVICESOCKET_H_

#include "host/util/Json.h"
#include "host/util/Problem.h"

namespace ctl {

// Sends one request, a JSON object, to the daemon's control socket and waits for the answer, an
// object, `seconds` at most.
host::Problem RequestFromDaemon(const json_t* request, double seconds, host::JsonRef& answer);

// Whether that is the problem of a request: no daemon runs, or the one that was asked has ended.
bool IsDaemonMissing(const host::Problem& problem);

}  // namespace ctl

#endif  // CTL_DEVICESOCKET_H_
