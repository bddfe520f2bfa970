// map check
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <CLI/CLI.hpp>

#include "ctl/Commands.h"
#include "ctl/MapCheck.h"
#include "ctl/Output.h"
#include "host/Files.h"

namespace ctl {

namespace {

const char kExamples[] = R"(Examples:
  cloudclientctl map check /var/local/orv/pldserver/0/covpatchmap.txt
  cloudclientctl map check covpatchmap.txt --pages pages --json)";

// The file's full name without links; empty, and a message, when there is no such file.
std::string FullPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> full(realpath(path.c_str(), nullptr),
                                                         &std::free);
  if (full) return full.get();
  Complain(path + ": " + std::strerror(errno));
  return {};
}

void SayFindings(const Choice& choice, const std::string& path,
                 const std::vector<std::string>& findings, bool clean) {
  if (!choice.json) {
    for (const std::string& finding : findings) Say(path + ": " + Printable(finding));
    if (clean) Say(path + ": nothing found");
    return;
  }
  const host::JsonRef list(json_array());
  for (const std::string& finding : findings) {
    json_array_append_new(list.get(), host::JsonString(finding).release());
  }
  SayJson(list.get());
}

int Check(const Choice& choice, const std::string& file, const std::string& pages) {
  // The file is this machine's: nothing is put before its path.
  unsetenv("CLOUDCLIENT_ROOT");
  const std::string path = FullPath(file);
  if (path.empty()) return kFailed;
  const std::string folder = pages.empty() ? host::FolderOf(path) : FullPath(pages);
  if (folder.empty()) return kFailed;

  cloudclient::PatchMgr map;
  if (map.InitCovPatchMaps(path) > 1) return kFailed;  // it has said why
  const host::JsonRef root(json_load_file(path.c_str(), JSON_DECODE_ANY, nullptr));
  std::vector<std::string> findings = CheckMap(map, root.get(), folder);
  json_error_t error;
  if (!host::JsonRef(json_load_file(path.c_str(), JSON_REJECT_DUPLICATES, &error))) {
    findings.push_back("line " + std::to_string(error.line) + ": " + error.text);
  }
  // What the loader complains of isn't always in its result.
  const bool clean = findings.empty() && Complaints() == 0;
  SayFindings(choice, file, findings, clean);
  return clean ? kDone : kFailed;
}

}  // namespace

void AddMapCommands(CLI::App& app, Choice& choice) {
  const auto file = std::make_shared<std::string>();
  const auto pages = std::make_shared<std::string>();
  CLI::App* const map = app.add_subcommand("map", "Look at a patch map");
  map->require_subcommand(1);
  map->fallthrough();
  map->footer(kExamples);
  CLI::App* const check = map->add_subcommand(
      "check", "Load a patch map as the daemon does and say what in it will not work");
  check->add_option("FILE", *file, "The map file")->required();
  check->add_option("--pages", *pages,
                    "Folder of the resources' pages; the file's own if not given");
  check->callback([&choice, file, pages] {
    choice.run = [&choice, file, pages] { return Check(choice, *file, *pages); };
  });
}

}  // namespace ctl
