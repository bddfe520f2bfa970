// SPDX-License-Identifier: Apache-2.0
// doctor
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <memory>

#include <CLI/CLI.hpp>

#include "ctl/CheckDaemon.h"
#include "ctl/CheckFiles.h"
#include "ctl/CheckService.h"
#include "ctl/Commands.h"
#include "ctl/Output.h"
#include "ctl/SupportBundle.h"
#include "host/config/ConfigKeys.h"
#include "platform/util/LocalPath.h"

namespace ctl {

using host::Problem;

namespace {

const char kDoctorExamples[] = R"(Examples:
  cloudclientctl doctor
  cloudclientctl doctor --json
  cloudclientctl doctor --bundle case-17.txt)";

void CheckServiceSide(double seconds, Checkup& checkup) {
  const host::ConfigStore& cloud = host::CloudStore();
  const Appliance appliance = {cloud.Text(host::kUrl), cloud.Text(host::kUuid),
                               cloud.Text(host::kXAuthToken)};
  if (appliance.url.empty()) {
    checkup.Skipped("service", "there is no Url");
    return;
  }
  Certificate shown;
  CheckWay(appliance.url, seconds, checkup, shown);
  const bool isReached = !checkup.IsWrong("connection");
  if (isReached) CheckRoot(appliance.url, seconds, checkup);
  if (!isReached || checkup.IsWrong("service")) {
    checkup.Skipped("registration", "the service can't be asked");
    return;
  }
  if (CheckRegistration(appliance, seconds, checkup)) CheckChassis(appliance, seconds, checkup);
}

Checkup LookAtAll(double seconds) {
  Checkup checkup;
  CheckConfiguration(checkup);
  const cloudclient::PolicyReading reading =
      cloudclient::ReadPolicy(LocalPath(cloudclient::kPolicyFile));
  CheckRights(reading.policy, checkup);
  CheckPolicy(reading, checkup);
  cloudclient::UsePolicy(reading.policy);
  CheckDevice(checkup);
  CheckDaemon(seconds, checkup);
  CheckSources(seconds, checkup);
  CheckServiceSide(seconds, checkup);
  CheckOutbox(reading.policy, checkup);
  CheckDisk(reading.policy, checkup);
  return checkup;
}

int Doctor(const Choice& choice, const std::string& bundle) {
  const Checkup checkup = LookAtAll(choice.timeout);
  if (choice.json) {
    PrintJson(checkup.Json().get());
  } else {
    std::fputs(checkup.Text().c_str(), stdout);
    const size_t wrong = checkup.CountWrong();
    PrintLine(wrong == 0 ? "\nNothing is wrong." : "\n" + std::to_string(wrong) + " wrong.");
  }
  if (!bundle.empty()) {
    if (const Problem problem = WriteSupportBundle(bundle, checkup, choice.timeout)) {
      PrintError(problem.Text());
      return kFailed;
    }
    if (!choice.json) PrintLine(bundle + " is written: read it before you send it");
  }
  return checkup.CountWrong() == 0 ? kDone : kFailed;
}

}  // namespace

void AddDoctorCommand(CLI::App& app, Choice& choice) {
  const auto bundle = std::make_shared<std::string>();
  CLI::App* const doctor = app.add_subcommand(
      "doctor", "Look at everything between the device and the service, and say what to do");
  doctor->add_option(
      "--bundle", *bundle,
      "Write what was seen, the configuration and the log, without secrets, to a new "
      "file");
  doctor->footer(kDoctorExamples);
  doctor->callback(
      [&choice, bundle] { choice.run = [&choice, bundle] { return Doctor(choice, *bundle); }; });
}

}  // namespace ctl
