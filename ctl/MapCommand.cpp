// SPDX-License-Identifier: Apache-2.0
// map check
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

#include <CLI/CLI.hpp>

#include "ctl/Commands.h"
#include "ctl/Findings.h"
#include "ctl/MapCheck.h"
#include "ctl/Output.h"
#include "host/util/Files.h"
#include "host/util/JsonFile.h"
#include "host/util/Paths.h"
#include "platform/util/LocalPath.h"

namespace ctl {

namespace {

const char kMapExamples[] = R"(Examples:
  cloudclientctl map check /var/local/orv/pldserver/0/covpatchmap.txt
  cloudclientctl map check covpatchmap.txt --pages pages --json)";

struct MapArguments {
  std::string file;
  std::string pages;
  std::string device;
};

// The file's full name without links; empty, and a message, when there is no such file.
std::string FullPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> full(realpath(path.c_str(), nullptr),
                                                         &std::free);
  if (full) return full.get();
  PrintError(path + ": " + std::strerror(errno));
  return {};
}

// The device that the map is for: of the file that was named, else the daemon's own if there is
// one.
host::Problem ReadDevice(const std::string& named, std::optional<host::DeviceModel>& device) {
  const std::string path = named.empty() ? LocalPath(host::kDeviceFile) : named;
  host::JsonRef root;
  if (host::Problem problem = host::ReadJsonObject(path, root)) {
    const bool noneNeeded = problem.Errno() == ENOENT && named.empty();
    return noneNeeded ? host::Problem() : problem;
  }
  std::vector<std::string> problems;  // said by `device check`
  device = host::ParseDeviceModel(root.get(), problems);
  return {};
}

int Check(const Choice& choice, const MapArguments& arguments) {
  std::optional<host::DeviceModel> device;
  if (host::Problem problem = ReadDevice(arguments.device, device)) {
    PrintError(problem.Text());
    return kFailed;
  }
  // The file is this machine's: nothing is put before its path.
  unsetenv("CLOUDCLIENT_ROOT");
  const std::string path = FullPath(arguments.file);
  if (path.empty()) return kFailed;
  const std::string folder =
      arguments.pages.empty() ? host::FolderOf(path) : FullPath(arguments.pages);
  if (folder.empty()) return kFailed;

  cloudclient::PatchMap map;
  if (map.Load(path) > 1) return kFailed;  // it has said why
  const host::JsonRef root(json_load_file(path.c_str(), JSON_DECODE_ANY, nullptr));
  Findings findings = CheckMap(map, root.get(), folder, device ? &*device : nullptr);
  FindKeysWrittenTwice(path, findings);
  return PrintFindings(choice.json, arguments.file, findings);
}

}  // namespace

void AddMapCommands(CLI::App& app, Choice& choice) {
  const auto arguments = std::make_shared<MapArguments>();
  CLI::App* const map = app.add_subcommand("map", "Look at a patch map");
  map->require_subcommand(1);
  map->fallthrough();
  map->footer(kMapExamples);
  CLI::App* const check = map->add_subcommand(
      "check", "Load a patch map as the daemon does and say what in it will not work");
  check->add_option("FILE", arguments->file, "The map file")->required();
  check->add_option("--device", arguments->device,
                    "The device's description; the daemon's own if not given");
  check->add_option("--pages", arguments->pages,
                    "Folder of the resources' pages; the file's own if not given");
  check->callback([&choice, arguments] {
    choice.run = [&choice, arguments] { return Check(choice, *arguments); };
  });
}

}  // namespace ctl
