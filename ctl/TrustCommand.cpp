// SPDX-License-Identifier: Apache-2.0
// trust
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include <CLI/CLI.hpp>

#include "base/PolicyFile.h"
#include "ctl/Certificate.h"
#include "ctl/Commands.h"
#include "ctl/Dial.h"
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

// A service, and what the policy pins so far.
struct Meeting {
  ServiceAddress address;
  Certificate certificate;
  std::string file;
  std::vector<std::string> pins;

  bool IsPinned() const {
    return std::find(pins.begin(), pins.end(), certificate.pin) != pins.end();
  }
};

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

// "no: why"
std::string Verdict(bool yes, const std::string& why) { return yes ? "yes" : "no: " + why; }

void PrintMeeting(const Meeting& meeting) {
  const Certificate& certificate = meeting.certificate;
  const std::string& store = certificate.storeProblem;
  const auto print = [](const char* name, const std::string& value) {
    PrintLine(name + Printable(value.empty() ? "-" : value));
  };
  print("service      ", meeting.address.Text());
  print("subject      ", certificate.subject);
  print("names        ", Joined(certificate.names));
  print("issuer       ", certificate.issuer);
  print("from         ", certificate.notBefore);
  print("until        ", certificate.notAfter);
  print("fingerprint  ", certificate.fingerprint);
  print("pin          ", certificate.pin);
  print("vouched for  ", Verdict(store.empty(), store));
  print("of this host ", Verdict(certificate.isOfHost, "it does not name " + meeting.address.host));
  for (const std::string& pin : meeting.pins) print("pinned now   ", pin);
}

host::JsonRef TextArray(const std::vector<std::string>& texts) {
  host::JsonRef array(json_array());
  for (const std::string& text : texts) {
    json_array_append_new(array.get(), host::JsonString(text).release());
  }
  return array;
}

// `written`: this run has pinned the key.
void PrintMeetingJson(const Meeting& meeting, bool written) {
  const Certificate& certificate = meeting.certificate;
  const host::JsonRef all(json_object());
  const auto set = [&all](const char* key, host::JsonRef value) {
    json_object_set_new(all.get(), key, value.release());
  };
  set("service", host::JsonString(meeting.address.Text()));
  set("subject", host::JsonString(certificate.subject));
  set("names", TextArray(certificate.names));
  set("issuer", host::JsonString(certificate.issuer));
  set("from", host::JsonString(certificate.notBefore));
  set("until", host::JsonString(certificate.notAfter));
  set("fingerprint", host::JsonString(certificate.fingerprint));
  set("pin", host::JsonString(certificate.pin));
  set("vouchedFor", host::JsonRef(json_boolean(certificate.storeProblem.empty())));
  set("storeProblem", host::JsonString(certificate.storeProblem));
  set("ofThisHost", host::JsonRef(json_boolean(certificate.isOfHost)));
  set("pinnedBefore", TextArray(meeting.pins));
  set("file", host::JsonString(meeting.file));
  set("written", host::JsonRef(json_boolean(written)));
  PrintJson(all.get());
}

// Asks on the terminal; anything but a yes is none.
bool IsMeant(const Meeting& meeting, bool add) {
  std::string others;
  if (!meeting.pins.empty())
    others = add ? " beside what is pinned" : " in place of what is pinned";
  std::fflush(stdout);
  std::fprintf(stderr, "Pin this key in %s%s? [y/N] ", Printable(meeting.file).c_str(),
               others.c_str());
  std::string line;
  for (int c = std::getchar(); c != EOF && c != '\n'; c = std::getchar()) {
    line += static_cast<char>(c);
  }
  return line == "y" || line == "Y" || line == "yes";
}

// Whether the key is to be pinned; prints why not.
bool IsWanted(const Choice& choice, const TrustArguments& arguments, const Meeting& meeting) {
  if (arguments.yes) return true;
  if (choice.json || isatty(STDIN_FILENO) == 0) {
    PrintError("nothing is written: nobody can be asked here; --yes if the key is to be pinned");
    return false;
  }
  if (IsMeant(meeting, arguments.add)) return true;
  PrintError("nothing is written");
  return false;
}

Problem Meet(const Choice& choice, Meeting& meeting) {
  // First: with a file that is no policy there is nothing to go on with.
  if (Problem problem = ReadPins(meeting.file, meeting.pins)) return problem;
  host::Fd connection;
  if (Problem problem = Dial(meeting.address, choice.timeout, connection)) return problem;
  return ReadCertificate(connection.Get(), meeting.address, choice.timeout, meeting.certificate);
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
  if (Problem problem = Meet(choice, meeting)) {
    PrintError(problem.Text());
    return kFailed;
  }
  if (!choice.json) PrintMeeting(meeting);
  bool written = false;
  const int status = meeting.IsPinned() ? kDone : Pin(choice, arguments, meeting, written);
  if (choice.json) {
    PrintMeetingJson(meeting, written);
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
