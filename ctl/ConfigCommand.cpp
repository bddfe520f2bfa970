// SPDX-License-Identifier: Apache-2.0
// config get|set|show, enable, disable
#include <algorithm>
#include <memory>

#include <CLI/CLI.hpp>

#include "ctl/Commands.h"
#include "ctl/ConfigFiles.h"
#include "ctl/ConfigValues.h"
#include "ctl/Output.h"
#include "host/config/ConfigKeys.h"
#include "host/util/Secrets.h"

namespace ctl {

namespace {

const char kConfigExamples[] = R"(Examples:
  cloudclientctl config set Url https://cloud.example.org
  cloudclientctl config set RegistrationKey - < keyfile
  cloudclientctl config get RegistrationKey --reveal
  cloudclientctl config show --json)";

struct ConfigArguments {
  std::string key;
  std::string value;
  bool reveal = false;
  bool yes = false;  // a rename that unregisters is meant
};

// A value that a person may read and set, and where it is kept.
struct Setting {
  host::ConfigStore& (*store)();  // its first call reads the file
  host::ConfigStore::Key key;

  const char* Name() const { return key.json.name; }
  bool IsFlag() const { return key.json.type == host::JsonKey::Type::kFlag; }
  bool IsSecret() const { return key.form == host::ConfigStore::Form::kSecret; }
};

// Not the chassis, of which the daemon keeps account.
const std::vector<Setting>& Settings() {
  static const auto settings = [] {
    std::vector<Setting> all;
    for (const auto& key : host::CloudKeys()) all.push_back({&host::CloudStore, key});
    for (const auto& key : host::SysInfoKeys()) all.push_back({&host::SysInfoStore, key});
    const auto kept = std::remove_if(all.begin(), all.end(), [](const Setting& setting) {
      return setting.key.json.type == host::JsonKey::Type::kNamedObjects;
    });
    all.erase(kept, all.end());
    return all;
  }();
  return settings;
}

std::vector<std::string> Names() {
  std::vector<std::string> names;
  for (const Setting& setting : Settings()) names.emplace_back(setting.Name());
  return names;
}

const Setting& Find(const std::string& name) {
  for (const Setting& setting : Settings()) {
    if (name == setting.Name()) return setting;
  }
  throw std::invalid_argument("no key named " + name);  // the parser lets no other name through
}

std::string Value(const Setting& setting, bool reveal) {
  const host::ConfigStore& store = setting.store();
  if (setting.IsFlag()) return store.Flag(setting.Name()) ? "true" : "false";
  const std::string text = store.Text(setting.Name());
  return setting.IsSecret() && !text.empty() && !reveal ? host::kMask : text;
}

host::JsonRef JsonValue(const Setting& setting, bool reveal) {
  if (setting.IsFlag()) {
    return host::JsonRef(json_boolean(setting.store().Flag(setting.Name())));
  }
  return host::JsonString(Value(setting, reveal));
}

int Get(const Choice& choice, const ConfigArguments& arguments) {
  if (!ConfigFilesAreReadable()) return kFailed;
  const Setting& setting = Find(arguments.key);
  if (choice.json) {
    PrintJson(JsonValue(setting, arguments.reveal).get());
  } else {
    PrintLine(Printable(Value(setting, arguments.reveal)));
  }
  return kDone;
}

int Show(const Choice& choice, const ConfigArguments& arguments) {
  if (!ConfigFilesAreReadable()) return kFailed;
  if (choice.json) {
    const host::JsonRef all(json_object());
    for (const Setting& setting : Settings()) {
      json_object_set_new(all.get(), setting.Name(),
                          JsonValue(setting, arguments.reveal).release());
    }
    PrintJson(all.get());
    return kDone;
  }
  std::vector<std::vector<std::string>> rows = {{"KEY", "VALUE"}};
  for (const Setting& setting : Settings()) {
    rows.push_back({setting.Name(), Printable(Value(setting, arguments.reveal))});
  }
  PrintTable(rows);
  return kDone;
}

int Store(const Setting& setting, const std::string& value) {
  host::ConfigStore& store = setting.store();
  if (setting.IsFlag()) {
    store.SetFlag(setting.Name(), value == "true");
  } else if (host::Problem problem = store.SetText(setting.Name(), value)) {
    PrintError(std::string("the value of ") + setting.Name() + " " + problem.Text());
    return kWrongArguments;
  }
  return store.Save() ? kDone : kFailed;  // the store has said why not
}

int Set(const ConfigArguments& arguments) {
  const Setting& setting = Find(arguments.key);
  std::string value = arguments.value;
  if (setting.IsSecret() && value == "-" && !ReadSecret(setting.Name(), value)) {
    return kFailed;
  }
  if (host::Problem problem = CheckValue(setting.key, value)) {
    PrintError(problem.Text());
    return kWrongArguments;
  }
  if (!ConfigFilesAreReadable()) return kFailed;
  const std::string ended = setting.Name() == std::string(host::kSysName) ? EndedByName(value) : "";
  if (!ended.empty() && !arguments.yes) {
    PrintError(ended + "; --yes if that is meant");
    return kWrongArguments;
  }
  return Store(setting, value);
}

int Enable(bool enabled) {
  if (!ConfigFilesAreReadable()) return kFailed;
  return Store(Find(host::kEnabled), enabled ? "true" : "false");
}

}  // namespace

void AddConfigCommands(CLI::App& app, Choice& choice) {
  const auto arguments = std::make_shared<ConfigArguments>();
  CLI::App* const config = app.add_subcommand("config", "Read and change the configuration");
  config->require_subcommand(1);
  config->fallthrough();
  config->footer(kConfigExamples);
  const auto addKey = [&arguments](CLI::App* command) {
    command->add_option("KEY", arguments->key, "Name of the value")
        ->required()
        ->check(CLI::IsMember(Names()));
  };
  const auto addReveal = [&arguments](CLI::App* command) {
    command->add_flag("--reveal", arguments->reveal, "Write registration key and token in clear");
  };

  CLI::App* const get = config->add_subcommand("get", "Write one value");
  addKey(get);
  addReveal(get);
  get->callback([&choice, arguments] {
    choice.run = [&choice, arguments] { return Get(choice, *arguments); };
  });

  CLI::App* const set = config->add_subcommand("set", "Change one value; a running daemon follows");
  addKey(set);
  set->add_option("VALUE", arguments->value,
                  "Its new value; - reads registration key or token from standard input")
      ->required();
  set->add_flag("--yes", arguments->yes, "Rename an appliance that is registered");
  set->callback([&choice, arguments] { choice.run = [arguments] { return Set(*arguments); }; });

  CLI::App* const show = config->add_subcommand("show", "Write all values");
  addReveal(show);
  show->callback([&choice, arguments] {
    choice.run = [&choice, arguments] { return Show(choice, *arguments); };
  });

  app.add_subcommand("enable", "Connect the appliance with the service")->callback([&choice] {
    choice.run = [] { return Enable(true); };
  });
  app.add_subcommand("disable", "Unregister the appliance")->callback([&choice] {
    choice.run = [] { return Enable(false); };
  });
}

}  // namespace ctl
