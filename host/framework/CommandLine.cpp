// SPDX-License-Identifier: Apache-2.0
// --help and --version.
#include "host/framework/CommandLine.h"

#include <cstdio>
#include <cstdlib>

#include "host/util/Files.h"
#include "host/util/Paths.h"
#include "platform/framework/KyrosInfo.h"
#include "platform/pld/PldConstants.h"

namespace host {
namespace {

// Longer ones hold more than one argument.
constexpr size_t kLongestCommandLine = 64 * 1024;

void PrintHelp(const std::string& name) {
  printf(
      "Usage: %s [--help | --version]\n"
      "\n"
      "Connects this appliance to a cloud management service. Runs until SIGTERM or SIGINT asks "
      "it\n"
      "to stop; SIGHUP has it read its configuration again. Logs to standard error.\n"
      "\n"
      "Files, which cloudclientctl reads and changes:\n"
      "  %-30s  the service, the registration, whether it is enabled\n"
      "  %-30s  the system name\n"
      "  %-30s  the managed device\n"
      "  %-30s  pages and data files of the device\n"
      "  %-30s  control socket of the device\n"
      "\n"
      "Environment:\n"
      "  %-30s  put before each of these paths\n"
      "  %-30s  highest level that is logged, 3 to 7; 5 when not set\n"
      "\n"
      "Other arguments are not looked at.\n",
      name.c_str(), kCloudFile, kSysInfoFile, kDeviceFile, pld::kDataFolder, kControlSocket,
      "CLOUDCLIENT_ROOT", "CLOUDCLIENT_LOG_LEVEL");
}

}  // namespace

CommandLineOption CommandLineOptionOf(const std::string& commandLine) {
  const size_t end = commandLine.find('\0');
  if (end == std::string::npos) return CommandLineOption::kNone;
  // Each argument ends with a NUL: what follows the program's name is one argument or others.
  const std::string arguments = commandLine.substr(end + 1);
  if (arguments == std::string("--help") + '\0') return CommandLineOption::kHelp;
  if (arguments == std::string("--version") + '\0') return CommandLineOption::kVersion;
  return CommandLineOption::kNone;
}

void RunCommandLineOption(const std::string& name) {
  std::string commandLine;
  if (ReadFile("/proc/self/cmdline", kLongestCommandLine, commandLine)) return;
  switch (CommandLineOptionOf(commandLine)) {
    case CommandLineOption::kNone:
      return;
    case CommandLineOption::kHelp:
      PrintHelp(name);
      break;
    case CommandLineOption::kVersion:
      printf("%s %s\n", name.c_str(), KyrosInfo().GetAppVersion().c_str());
      break;
  }
  const bool printed = fflush(stdout) == 0 && ferror(stdout) == 0;
  exit(printed ? 0 : 1);
}

}  // namespace host
