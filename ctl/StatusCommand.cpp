// SPDX-License-Identifier: Apache-2.0
// status: what the daemon's files say.
#include <CLI/CLI.hpp>

#include "base/PolicyFile.h"
#include "base/PolicyKeys.h"
#include "ctl/Commands.h"
#include "ctl/ConfigFiles.h"
#include "ctl/DeviceSocket.h"
#include "ctl/Output.h"
#include "host/config/ConfigKeys.h"
#include "platform/util/LocalPath.h"

namespace ctl {

namespace {

// The level of a failure in the daemon's log.
constexpr json_int_t kFailureLevel = 3;

const char* YesNo(bool yes) { return yes ? "yes" : "no"; }

// Whether the daemon answers, and the newest failures and warnings of its log.
bool DaemonAnswers(double seconds, host::JsonRef& messages) {
  const host::JsonRef request(json_pack("{s:s}", "op", "messages"));
  host::JsonRef answer;
  const bool answers = !RequestFromDaemon(request.get(), seconds, answer);
  json_t* const told = json_object_get(answer.get(), "messages");
  messages.reset(json_is_array(told) ? json_incref(told) : json_array());
  return answers;
}

// What the site asks of the daemon: "none", or the preset and how many keys there are beside it.
std::string PolicyText() {
  using cloudclient::PolicyValue;
  const cloudclient::PolicyReading reading =
      cloudclient::ReadPolicy(LocalPath(cloudclient::kPolicyFile));
  if (!reading.problem.empty()) return "wrong: " + reading.problem;
  if (!reading.exists) return "none";
  int preset = 0;
  int single = 0;
  for (const PolicyValue& value : reading.values) {
    if (value.origin == PolicyValue::Origin::kPreset) ++preset;
    if (value.origin == PolicyValue::Origin::kFile && value.key != cloudclient::kPresetKey)
      ++single;
  }
  const std::string front = preset == 0 ? "" : std::string(cloudclient::kHardened) + ", ";
  return front + std::to_string(single) + (single == 1 ? " key of its own" : " keys of its own");
}

host::JsonRef Status(const Choice& choice) {
  const host::ConfigStore& cloud = host::CloudStore();
  const host::JsonRef chassis = cloud.Object(host::kChassis);
  const host::JsonRef ids(json_array());
  const char* id = nullptr;
  json_t* entry = nullptr;
  json_object_foreach(chassis.get(), id, entry) {
    json_array_append_new(ids.get(), json_string(id));
  }
  host::JsonRef status(json_object());
  const auto set = [&status](const char* key, host::JsonRef value) {
    json_object_set_new(status.get(), key, value.release());
  };
  host::JsonRef messages;
  set("running", host::JsonRef(json_boolean(DaemonAnswers(choice.timeout, messages))));
  set("enabled", host::JsonRef(json_boolean(cloud.Flag(host::kEnabled))));
  set("registered", host::JsonRef(json_boolean(!cloud.Text(host::kXAuthToken).empty())));
  set("service", host::JsonString(cloud.Text(host::kUrl)));
  set("manager", host::JsonString(cloud.Text(host::kUuid)));
  set("unitName", host::JsonString(cloud.Text(host::kUnitName)));
  json_object_set(status.get(), "chassis", ids.get());
  set("policy", host::JsonString(PolicyText()));
  set("messages", std::move(messages));
  return status;
}

bool HoldsFailure(const json_t* messages) {
  size_t index = 0;
  const json_t* message = nullptr;
  json_array_foreach(messages, index, message) {
    if (json_integer_value(json_object_get(message, "level")) == kFailureLevel) return true;
  }
  return false;
}

// What follows a connection that failed, of an appliance that has token and chassis or not.
const char* WhatFollows(bool complete) {
  if (cloudclient::ReadPolicy(LocalPath(cloudclient::kPolicyFile)).policy.registration.Retries()) {
    return complete ? "\nIf connecting failed, it is tried again."
                    : "\nNot connected, or not yet. After a failure it is tried again.";
  }
  return complete
             ? "\nIf connecting failed, it is not tried again before the next enabling or start."
             : "\nNot connected, or not yet. After a failure nothing is tried before the next "
               "enabling or start.";
}

// Says what went wrong in a daemon that is enabled. Token and chassis may be an earlier start's, so
// they do not tell that this one connected; while nothing failed it is believed.
void PrintFailures(const json_t* status) {
  const auto holds = [status](const char* key) {
    return json_is_true(json_object_get(status, key));
  };
  if (!holds("running") || !holds("enabled")) return;
  const json_t* const messages = json_object_get(status, "messages");
  const bool complete =
      holds("registered") && json_array_size(json_object_get(status, "chassis")) > 0;
  if (complete && !HoldsFailure(messages)) return;
  PrintLine(WhatFollows(complete));
  PrintLine("The newest failures and warnings of the log:");
  size_t index = 0;
  const json_t* message = nullptr;
  json_array_foreach(messages, index, message) {
    PrintLine(Cell(message, "time") + "  " + Cell(message, "unit") + " " + Cell(message, "text"));
  }
  if (index == 0) PrintLine("none");
}

void PrintStatus(const json_t* status) {
  const auto text = [status](const char* key) {
    const std::string value = host::JsonText(json_object_get(status, key));
    return value.empty() ? std::string("-") : Printable(value);
  };
  const auto flag = [status](const char* key) {
    return YesNo(json_is_true(json_object_get(status, key)));
  };
  std::string chassis;
  size_t index = 0;
  const json_t* id = nullptr;
  json_array_foreach(json_object_get(status, "chassis"), index, id) {
    chassis += (chassis.empty() ? "" : " ") + Printable(host::JsonText(id));
  }
  PrintLine(std::string("running     ") + flag("running"));
  PrintLine(std::string("enabled     ") + flag("enabled"));
  PrintLine(std::string("registered  ") + flag("registered"));
  PrintLine("service     " + text("service"));
  PrintLine("manager     " + text("manager"));
  PrintLine("unit name   " + text("unitName"));
  PrintLine("chassis     " + (chassis.empty() ? "-" : chassis));
  PrintLine("policy      " + text("policy"));
  PrintFailures(status);
}

int Run(const Choice& choice) {
  if (!ConfigFilesAreReadable()) return kFailed;
  const host::JsonRef status = Status(choice);
  if (choice.json) {
    PrintJson(status.get());
  } else {
    PrintStatus(status.get());
  }
  return kDone;
}

}  // namespace

void AddStatusCommand(CLI::App& app, Choice& choice) {
  app.add_subcommand("status",
                     "Whether the daemon runs, is enabled and registered, and what failed")
      ->callback([&choice] { choice.run = [&choice] { return Run(choice); }; });
}

}  // namespace ctl
