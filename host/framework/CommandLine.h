// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_FRAMEWORK_COMMANDLINE_H_
#define HOST_FRAMEWORK_COMMANDLINE_H_

#include <string>

namespace host {

// What a program is started for.
enum class CommandLineOption { kNone, kHelp, kVersion };

// The errand of a command line, as /proc/self/cmdline holds it: `--help` and `--version` count as
// the only argument, everything else runs.
CommandLineOption CommandLineOptionOf(const std::string& commandLine);

// Prints what the process was started to print, and ends it: status 0, or 1 when standard output
// does not take it. Returns when it was started to run, and when it can't tell. `name` is the
// program's.
void RunCommandLineOption(const std::string& name);

}  // namespace host

#endif  // HOST_FRAMEWORK_COMMANDLINE_H_
