// SPDX-License-Identifier: Apache-2.0
// The command line: its commands, and the run of one.
#include "ctl/Commands.h"

#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

#include "ctl/Output.h"
#include "host/util/Numbers.h"

namespace ctl {

namespace {

const char kFooter[] = R"(Examples:
  cloudclientctl setup
  cloudclientctl status
  cloudclientctl doctor
  cloudclientctl config set Url https://cloud.example.org
  cloudclientctl enable
  cloudclientctl device raise 4711 --state Warning
  cloudclientctl device set 1201 23.5
  cloudclientctl map check /var/local/orv/pldserver/0/covpatchmap.txt
  cloudclientctl trust https://cloud.example.org
  cloudclientctl log explain
  cloudclientctl watch

CLOUDCLIENT_ROOT is put before the daemon's paths, as it is for the daemon.

Exit status: 0 done; 1 it could not be done, or a check found something;
2 wrong arguments; 3 no daemon answers.)";

// A word where a command is missing; empty when the line just ends there.
std::string UnknownCommand(const CLI::App& app) {
  const std::vector<std::string> left = app.remaining(true);
  return left.empty() ? std::string() : left.front();
}

// Whether the line names a group of commands and ends there.
bool EndsInGroup(const CLI::App& app) {
  if (app.get_subcommands().size() != 1 || !UnknownCommand(app).empty()) return false;
  const CLI::App* last = &app;
  while (!last->get_subcommands().empty()) last = last->get_subcommands().front();
  return !last->get_subcommands([](const CLI::App*) { return true; }).empty();
}

// Empty when the text is a time to wait for an answer, else why not.
std::string CheckTimeout(const std::string& text) {
  double seconds = 0;
  const bool good = host::ParseNumber(text, seconds) && seconds >= 0.001 && seconds <= 3600;
  return good ? "" : "takes a number from 0.001 to 3600, not '" + text + "'";
}

std::string Reason(const CLI::App& app, const CLI::ParseError& error) {
  if (dynamic_cast<const CLI::RequiredError*>(&error) == nullptr) return error.what();
  const std::string word = UnknownCommand(app);
  return word.empty() ? error.what() : "there is no command '" + word + "'";
}

// What was written may have met a full disk.
int Flushed(int status) {
  if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
  PrintError("the output can't be written");
  return status == kDone ? kFailed : status;
}

}  // namespace

int Main(int argc, char** argv) {
  CLI::App app("Reads and changes the configuration of cloudclient, and drives its device.",
               "cloudclientctl");
  Choice choice;
  app.add_flag("--json", choice.json, "Write JSON, for scripts");
  app.set_version_flag("--version", std::string("cloudclientctl ") + CLOUDCLIENT_VERSION);
  app.require_subcommand(1);
  app.fallthrough();
  app.add_option("--timeout", choice.timeout, "Seconds to wait for an answer, 0.001 to 3600")
      ->capture_default_str()
      ->check(CheckTimeout);
  AddSetupCommand(app, choice);
  AddStatusCommand(app, choice);
  AddDoctorCommand(app, choice);
  AddConfigCommands(app, choice);
  AddDeviceCommands(app, choice);
  AddLogCommands(app, choice);
  AddMapCommands(app, choice);
  AddPolicyCommands(app, choice);
  AddTrustCommand(app, choice);
  AddWatchCommand(app, choice);
  app.footer(kFooter);  // after the commands, which would take it over
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {  // --help, --version
    return Flushed(app.exit(success));
  } catch (const CLI::ParseError& error) {
    if (EndsInGroup(app)) return Flushed(app.exit(CLI::CallForHelp()));
    PrintError(Reason(app, error) + " (see cloudclientctl --help)");
    return kWrongArguments;
  }
  try {
    return Flushed(choice.run());
  } catch (const std::exception& error) {
    PrintError(error.what());
    return kFailed;
  }
}

}  // namespace ctl
