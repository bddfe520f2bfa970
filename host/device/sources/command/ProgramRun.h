// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_COMMAND_PROGRAMRUN_H_
#define HOST_DEVICE_SOURCES_COMMAND_PROGRAMRUN_H_

#include <cstddef>
#include <string>
#include <vector>

#include "host/util/Problem.h"

namespace host {

struct RunLimits {
  int timeoutMs = 0;
  size_t outputBytes = 0;
  int stopFd = -1;  // ends the run when it can be read from
};

// Runs a program to its end and takes what it writes to standard output. `words`: the program's
// path, and its arguments; no shell reads them. The program has a process group of its own, an
// environment of PATH and LC_ALL, the root folder to work in, no other descriptors, and nothing on
// standard input and error. A problem, when it can't be started, ends by itself with another status
// than 0, writes more than it may, or does not end in time. When this returns, it and what of its
// group is left have been killed. Blocks.
Problem RunProgram(const std::vector<std::string>& words, const RunLimits& limits,
                   std::string& output);

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_COMMAND_PROGRAMRUN_H_
