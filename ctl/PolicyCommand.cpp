// SPDX-License-Identifier: Apache-2.0
// policy show, policy check
#include <memory>

#include <CLI/CLI.hpp>

#include "base/PolicyFile.h"
#include "ctl/Commands.h"
#include "ctl/Findings.h"
#include "ctl/Output.h"
#include "host/util/Secrets.h"
#include "platform/util/LocalPath.h"

namespace ctl {

namespace {

using cloudclient::PolicyReading;
using cloudclient::PolicyValue;

const char kPolicyExamples[] = R"(Examples:
  cloudclientctl policy show
  cloudclientctl policy check new-policy.json)";

const char* OriginWord(PolicyValue::Origin origin) {
  switch (origin) {
    case PolicyValue::Origin::kPreset:
      return "preset";
    case PolicyValue::Origin::kFile:
      return "file";
    case PolicyValue::Origin::kDefault:
      break;
  }
  return "default";
}

// What is in force of a key, for whoever may see it.
std::string Shown(const PolicyValue& value) {
  const bool hidden = value.secret && value.origin == PolicyValue::Origin::kFile;
  return hidden ? host::kMask : value.value;
}

void PrintValues(bool json, const std::vector<PolicyValue>& values) {
  const host::JsonRef list(json_array());
  std::vector<std::vector<std::string>> rows = {{"KEY", "VALUE", "FROM"}};
  for (const PolicyValue& value : values) {
    rows.push_back({value.key, Printable(Shown(value)), OriginWord(value.origin)});
    json_array_append_new(list.get(),
                          json_pack("{s:s,s:s,s:s}", "key", value.key.c_str(), "value",
                                    Shown(value).c_str(), "from", OriginWord(value.origin)));
  }
  if (json) {
    PrintJson(list.get());
  } else {
    PrintTable(rows);
  }
}

int ShowPolicy(const Choice& choice) {
  const PolicyReading reading = cloudclient::ReadPolicy(LocalPath(cloudclient::kPolicyFile));
  if (!reading.problem.empty()) {
    PrintError(reading.problem);
    return kFailed;
  }
  PrintValues(choice.json, reading.exists ? reading.values : cloudclient::DefaultPolicyValues());
  return kDone;
}

// Without a file the daemon's own, which may be missing.
int CheckPolicy(const Choice& choice, const std::string& file) {
  const std::string path = file.empty() ? LocalPath(cloudclient::kPolicyFile) : file;
  const PolicyReading reading = cloudclient::ReadPolicy(path);
  Findings findings;
  // The file is named beside each finding.
  const std::string& problem = reading.problem;
  if (!problem.empty())
    findings.push_back(problem.substr(problem.find_first_not_of(": ", path.size())));
  if (!reading.exists && !file.empty()) findings.emplace_back("there is no such file");
  return PrintFindings(choice.json, path, findings);
}

}  // namespace

void AddPolicyCommands(CLI::App& app, Choice& choice) {
  CLI::App* const policy =
      app.add_subcommand("policy", "Look at what the site asks of the daemon on an open network");
  policy->require_subcommand(1);
  policy->fallthrough();
  policy->footer(kPolicyExamples);
  policy->add_subcommand("show", "What is in force, and where each value comes from")
      ->callback([&choice] { choice.run = [&choice] { return ShowPolicy(choice); }; });
  const auto file = std::make_shared<std::string>();
  CLI::App* const check = policy->add_subcommand(
      "check", "Read a policy file as the daemon does and say what in it is wrong");
  check->add_option("FILE", *file, "The policy file; the daemon's own if not given");
  check->callback(
      [&choice, file] { choice.run = [&choice, file] { return CheckPolicy(choice, *file); }; });
}

}  // namespace ctl
