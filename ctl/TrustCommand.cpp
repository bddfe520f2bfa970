// SPDX-License-Identifier: Apache-2.0
// trust
#include <unistd.h>

#include <memory>

#include <CLI/CLI.hpp>

#include "base/PolicyFile.h"
#include "ctl/Commands.h"
#include "ctl/Meeting.h"
#include "ctl/Output.h"
#include "ctl/PinFile.h"
#include "platform/util/LocalPath.h"

namespace ctl {

namespace {

using host::Problem;

const char kTrustExamples[] = R"(Examples:
  cloudclientctl trust https://cloud.example.org
  cloudclientctl trust https://cloud.example.org:8443 --add --yes)";

struct TrustArguments {
  std::string url;
  bool yes = false;  // no question
  bool add = false;  // pins that are there stay
};

std::string Question(const Meeting& meeting, bool add) {
  std::string others;
  if (!meeting.pins.empty())
    others = add ? " beside what is pinned" : " in place of what is pinned";
  return "Pin this key in " + meeting.file + others + "?";
}

// Whether the key is to be pinned; prints why not.
bool IsWanted(const Choice& choice, const TrustArguments& arguments, const Meeting& meeting) {
  if (arguments.yes) return true;
  if (choice.json || isatty(STDIN_FILENO) == 0) {
    PrintError("nothing is written: nobody can be asked here; --yes if the key is to be pinned");
    return false;
  }
  if (IsMeant(Question(meeting, arguments.add))) return true;
  PrintError("nothing is written");
  return false;
}

// Pins the key, if that is wanted; `written` tells. The exit status.
int Pin(const Choice& choice, const TrustArguments& arguments, const Meeting& meeting,
        bool& written) {
  if (!IsWanted(choice, arguments, meeting)) return kFailed;
  Problem warning;
  if (Problem problem = WritePin(meeting.file, meeting.certificate.pin, arguments.add, warning)) {
    PrintError(problem.Text());
    return kFailed;
  }
  written = true;
  if (warning) PrintError(meeting.file + " is written, but " + warning.Text());
  return kDone;
}

int Trust(const Choice& choice, const TrustArguments& arguments) {
  Meeting meeting;
  if (Problem problem = ParseServiceUrl(arguments.url, meeting.address)) {
    PrintError(problem.Text());
    return kWrongArguments;
  }
  meeting.file = LocalPath(cloudclient::kPolicyFile);
  if (Problem problem = Meet(choice.timeout, meeting)) {
    PrintError(problem.Text());
    return kFailed;
  }
  if (!choice.json) PrintMeeting(meeting);
  bool written = false;
  const int status = meeting.IsPinned() ? kDone : Pin(choice, arguments, meeting, written);
  if (choice.json) {
    const host::JsonRef all = MeetingJson(meeting);
    host::PutJson(all.get(), "written", host::JsonRef(json_boolean(written)));
    PrintJson(all.get());
  } else if (status == kDone) {
    PrintLine(written ? "pinned in " + Printable(meeting.file) + ": restart the daemon"
                      : "the key is pinned already; nothing is written");
  }
  return status;
}

}  // namespace

void AddTrustCommand(CLI::App& app, Choice& choice) {
  const auto arguments = std::make_shared<TrustArguments>();
  CLI::App* const trust = app.add_subcommand(
      "trust", "Show the certificate of a service and pin its key in the policy");
  trust->add_option("URL", arguments->url, "The service's URL; nothing is asked of it but TLS")
      ->required();
  trust->add_flag("--yes", arguments->yes, "Pin without a question");
  trust->add_flag("--add", arguments->add, "Keep the keys that are pinned, beside this one");
  trust->footer(kTrustExamples);
  trust->callback([&choice, arguments] {
    choice.run = [&choice, arguments] { return Trust(choice, *arguments); };
  });
}

}  // namespace ctl
