// SPDX-License-Identifier: Apache-2.0
// device list|set|raise|clear|check
#include <memory>

#include <CLI/CLI.hpp>

#include "ctl/Commands.h"
#include "ctl/DeviceCheck.h"
#include "ctl/DeviceSocket.h"
#include "ctl/Findings.h"
#include "ctl/Output.h"
#include "host/util/JsonFile.h"

namespace ctl {

namespace {

const char kDeviceExamples[] = R"(Examples:
  cloudclientctl device list
  cloudclientctl device set 1201 23.5
  cloudclientctl device raise 4711 --module 1 --state Warning
  cloudclientctl device clear 4711 --module 1
  cloudclientctl device check /etc/cloudclient/device.json
  cloudclientctl device init hwmon --to trial)";

struct DeviceArguments {
  int point = 0;
  std::string value;
  int gdd = 0;
  int module = 0;
  std::string state = "Alarm";
  std::string file;
};

// Sends a request; the exit status, and the answer when that is kDone.
int SendRequest(const Choice& choice, const host::JsonRef& request, host::JsonRef& answer) {
  const host::Problem problem = RequestFromDaemon(request.get(), choice.timeout, answer);
  if (!problem && json_is_true(json_object_get(answer.get(), "ok"))) return kDone;
  PrintError(problem ? problem.Text() : Cell(answer.get(), "error"));
  return IsDaemonMissing(problem) ? kNotRunning : kFailed;
}

// A request whose answer says no more than whether it was done.
int SendCommand(const Choice& choice, const host::JsonRef& request) {
  if (!request) {
    PrintError("the value is not UTF-8");
    return kWrongArguments;
  }
  host::JsonRef answer;
  const int status = SendRequest(choice, request, answer);
  if (status == kDone && choice.json) PrintJson(answer.get());
  return status;
}

void PrintPoints(const json_t* points) {
  std::vector<std::vector<std::string>> rows = {{"POINT", "NAME", "VALUE", "UNIT", "SOURCE"}};
  size_t index = 0;
  const json_t* point = nullptr;
  json_array_foreach(points, index, point) {
    rows.push_back({Cell(point, "id"), Cell(point, "name"), Cell(point, "value"),
                    Cell(point, "unit"), Cell(point, "source")});
  }
  PrintTable(rows);
}

void PrintEvents(const json_t* events) {
  std::vector<std::vector<std::string>> rows = {{"EVENT", "MODULE", "STATE", "TEXT"}};
  size_t index = 0;
  const json_t* event = nullptr;
  json_array_foreach(events, index, event) {
    rows.push_back(
        {Cell(event, "gdd"), Cell(event, "module"), Cell(event, "state"), Cell(event, "text")});
  }
  PrintTable(rows);
}

int List(const Choice& choice) {
  const host::JsonRef request(json_pack("{s:s}", "op", "list"));
  host::JsonRef answer;
  const int status = SendRequest(choice, request, answer);
  if (status != kDone) return status;
  if (choice.json) {
    PrintJson(answer.get());
    return kDone;
  }
  PrintLine(Cell(answer.get(), "label") + "  (device " + Cell(answer.get(), "velocityId") +
            ", product sequence " + Cell(answer.get(), "psi") + ")\n");
  PrintPoints(json_object_get(answer.get(), "points"));
  PrintLine("");
  PrintEvents(json_object_get(answer.get(), "events"));
  return kDone;
}

// Checks a description as the daemon reads it. The file's path is this machine's.
int Check(const Choice& choice, const std::string& file) {
  host::JsonRef root;
  if (host::Problem problem = host::ReadJsonObject(file, root)) {
    PrintError(problem.Text());
    return kFailed;
  }
  host::DeviceModel model;
  Findings findings = FindingsOf(root.get(), model);
  FindKeysWrittenTwice(file, findings);
  return PrintFindings(choice.json, file, findings);
}

using Arguments = std::shared_ptr<DeviceArguments>;

CLI::Range Number16() { return {0, 65535}; }

void AddListCommand(CLI::App& device, Choice& choice) {
  device.add_subcommand("list", "Points with their values, events with their states")
      ->callback([&choice] { choice.run = [&choice] { return List(choice); }; });
}

void AddCheckCommand(CLI::App& device, Choice& choice, const Arguments& arguments) {
  CLI::App* const check =
      device.add_subcommand("check", "Say what in a device's description will not work");
  check->add_option("FILE", arguments->file, "The description, device.json")->required();
  check->callback([&choice, arguments] {
    choice.run = [&choice, arguments] { return Check(choice, arguments->file); };
  });
}

void AddSetCommand(CLI::App& device, Choice& choice, const Arguments& arguments) {
  CLI::App* const set = device.add_subcommand("set", "Give a point a value");
  set->add_option("POINT", arguments->point, "Number of the point")->required()->check(Number16());
  set->add_option("VALUE", arguments->value, "Its new value, a text")->required();
  set->callback([&choice, arguments] {
    choice.run = [&choice, arguments] {
      return SendCommand(
          choice, host::JsonRef(json_pack("{s:s, s:i, s:s}", "op", "set", "point", arguments->point,
                                          "value", arguments->value.c_str())));
    };
  });
}

void AddEventOptions(CLI::App& command, const Arguments& arguments) {
  command.add_option("EVENT", arguments->gdd, "Number of the event")->required()->check(Number16());
  command.add_option("--module", arguments->module, "Module, from 0")->check(Number16());
}

void AddRaiseCommand(CLI::App& device, Choice& choice, const Arguments& arguments) {
  CLI::App* const raise = device.add_subcommand("raise", "Make an event active");
  AddEventOptions(*raise, arguments);
  raise->add_option("--state", arguments->state, "Its state")
      ->capture_default_str()
      ->check(CLI::IsMember({"Message", "Warning", "Alarm", "Fault"}));
  raise->callback([&choice, arguments] {
    choice.run = [&choice, arguments] {
      return SendCommand(
          choice,
          host::JsonRef(json_pack("{s:s, s:i, s:i, s:s}", "op", "raise", "gdd", arguments->gdd,
                                  "module", arguments->module, "state", arguments->state.c_str())));
    };
  });
}

void AddClearCommand(CLI::App& device, Choice& choice, const Arguments& arguments) {
  CLI::App* const clear = device.add_subcommand("clear", "End an event");
  AddEventOptions(*clear, arguments);
  clear->callback([&choice, arguments] {
    choice.run = [&choice, arguments] {
      return SendCommand(
          choice, host::JsonRef(json_pack("{s:s, s:i, s:i}", "op", "clear", "gdd", arguments->gdd,
                                          "module", arguments->module)));
    };
  });
}

}  // namespace

void AddDeviceCommands(CLI::App& app, Choice& choice) {
  const auto arguments = std::make_shared<DeviceArguments>();
  CLI::App* const device = app.add_subcommand("device", "Look at the device and drive it");
  device->require_subcommand(1);
  device->fallthrough();
  device->footer(kDeviceExamples);
  AddListCommand(*device, choice);
  AddCheckCommand(*device, choice, arguments);
  AddSetCommand(*device, choice, arguments);
  AddRaiseCommand(*device, choice, arguments);
  AddClearCommand(*device, choice, arguments);
  AddInitCommands(*device, choice);
}

}  // namespace ctl
