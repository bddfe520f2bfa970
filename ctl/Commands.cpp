#include "ctl/Commands.h"

#include <cstdio>
#include <exception>

#include <CLI/CLI.hpp>

#include "ctl/Output.h"

namespace ctl {

namespace {

const char kFooter[] = R"(Examples:
  cloudclientctl status
  cloudclientctl config set Url https://cloud.example.org
  cloudclientctl enable
  cloudclientctl device raise 4711 --state Warning
  cloudclientctl device set 1201 23.5
  cloudclientctl map check /var/local/orv/pldserver/0/covpatchmap.txt

CLOUDCLIENT_ROOT is put before the daemon's paths, as it is for the daemon.

Exit status: 0 done; 1 it could not be done, or a check found something;
2 wrong arguments; 3 no daemon answers.)";

}  // namespace

int Main(int argc, char** argv) {
  CLI::App app("Reads and changes the configuration of cloudclient, and drives its device.",
               "cloudclientctl");
  Choice choice;
  app.add_flag("--json", choice.json, "Write JSON, for scripts");
  app.set_version_flag("--version", std::string("cloudclientctl ") + CLOUDCLIENT_VERSION);
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(kFooter);
  AddStatusCommand(app, choice);
  AddConfigCommands(app, choice);
  AddDeviceCommands(app, choice);
  AddMapCommands(app, choice);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& success) {  // --help, --version
    return app.exit(success);
  } catch (const CLI::ParseError& error) {
    Complain(std::string(error.what()) + " (see cloudclientctl --help)");
    return kWrongArguments;
  }
  try {
    return choice.run();
  } catch (const std::exception& error) {
    Complain(error.what());
    return kFailed;
  }
}

}  // namespace ctl
