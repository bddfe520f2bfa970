// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_COMMANDS_H_
#define CTL_COMMANDS_H_

#include <functional>
#include <string>

#include <CLI/App.hpp>

namespace ctl {

// Exit statuses.
constexpr int kDone = 0;
constexpr int kFailed = 1;          // it could not be done, or the check found something
constexpr int kWrongArguments = 2;  // nothing was done
constexpr int kNotRunning = 3;      // no daemon answers at the device's control socket

// What the command line chose.
struct Choice {
  bool json = false;    // output for scripts
  double timeout = 10;  // seconds to wait for an answer
  std::function<int()> run;
};

// Each adds its commands to the program's; parsing one of them sets `choice.run`.
void AddConfigCommands(CLI::App& app, Choice& choice);
void AddDeviceCommands(CLI::App& app, Choice& choice);
void AddDoctorCommand(CLI::App& app, Choice& choice);
// Of `device`.
void AddInitCommands(CLI::App& device, Choice& choice);
void AddLogCommands(CLI::App& app, Choice& choice);
void AddMapCommands(CLI::App& app, Choice& choice);
void AddPolicyCommands(CLI::App& app, Choice& choice);
void AddSetupCommand(CLI::App& app, Choice& choice);
void AddStatusCommand(CLI::App& app, Choice& choice);
void AddTrustCommand(CLI::App& app, Choice& choice);
void AddWatchCommand(CLI::App& app, Choice& choice);

// The program: parses the command line, runs what it chose, and returns the exit status.
int Main(int argc, char** argv);

}  // namespace ctl

#endif  // CTL_COMMANDS_H_
