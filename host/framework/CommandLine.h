// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_FRAMEWORK_COMMANDLINE_H_
#define HOST_FRAMEWORK_COMMANDLINE_H_

#include <string>

namespace host {

// The option that a program is started with.
enum class CommandLineOption { kNone, kHelp, kVersion };

// The option of a command line, as /proc/self/cmdline holds it: `--help` and `--version` count as
// the only argument. With any others the program runs.
CommandLineOption CommandLineOptionOf(const std::string& commandLine);

// Prints what the process's option asks for and ends the process: status 0, or 1 when standard
// output can't be written. Returns without an option, and when the command line can't be read.
// `name` is the program's.
void RunCommandLineOption(const std::string& name);

}  // namespace host

#endif  // HOST_FRAMEWORK_COMMANDLINE_H_
