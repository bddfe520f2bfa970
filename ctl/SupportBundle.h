// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_SUPPORTBUNDLE_H_
#define CTL_SUPPORTBUNDLE_H_

#include <string>

#include "ctl/Checkup.h"
#include "host/util/Problem.h"

namespace ctl {

// Writes for a support case, as one text that a person can read before it is sent: what `checkup`
// has found, the machine, configuration, policy, device and map, and the newest of the log, from
// the journal or, without one, from the daemon. Secrets are masked: registration key and token
// wherever they stand, and what stands in a log where a token or a key does. The file, of mode
// 0600, must not be there yet. `seconds` is how long the daemon may take.
host::Problem WriteSupportBundle(const std::string& file, const Checkup& checkup, double seconds);

// A line of a log without the token or key that it may hold, whoever's they are.
std::string WithoutKeys(std::string line);

}  // namespace ctl

#endif  // CTL_SUPPORTBUNDLE_H_
