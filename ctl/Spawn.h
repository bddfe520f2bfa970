// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_SPAWN_H_
#define CTL_SPAWN_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "host/util/Problem.h"

namespace ctl {

// Starts a program of the path with these words, the first of which names it; its standard output
// goes to `output`. A problem, which names the program, when it can't be run.
host::Problem Spawn(std::vector<std::string> words, int output, pid_t& process);

// Waits for its end, so many seconds at most, beyond which it is killed. A problem, which names the
// program, when it has failed or was killed.
host::Problem AwaitEnd(const std::string& program, pid_t process, double seconds);

}  // namespace ctl

#endif  // CTL_SPAWN_H_
