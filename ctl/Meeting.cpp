// SPDX-License-Identifier: Apache-2.0
// A service's certificate beside what the policy pins: met, shown, asked about.
#include "ctl/Meeting.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "ctl/Output.h"
#include "ctl/PinFile.h"

namespace ctl {

using host::Problem;

namespace {

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) joined += (joined.empty() ? "" : ", ") + text;
  return joined;
}

// "no: why"
std::string Verdict(bool yes, const std::string& why) { return yes ? "yes" : "no: " + why; }

host::JsonRef TextArray(const std::vector<std::string>& texts) {
  host::JsonRef array(json_array());
  for (const std::string& text : texts) {
    json_array_append_new(array.get(), host::JsonString(text).release());
  }
  return array;
}

}  // namespace

bool Meeting::IsPinned() const {
  return std::find(pins.begin(), pins.end(), certificate.pin) != pins.end();
}

Problem Meet(double seconds, Meeting& meeting) {
  // First: with a file that is no policy there is nothing to go on with.
  if (Problem problem = ReadPins(meeting.file, meeting.pins)) return problem;
  host::Fd connection;
  if (Problem problem = Dial(meeting.address, seconds, connection)) return problem;
  return ReadCertificate(connection.Get(), meeting.address, seconds, meeting.certificate);
}

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

host::JsonRef MeetingJson(const Meeting& meeting) {
  const Certificate& certificate = meeting.certificate;
  host::JsonRef all(json_object());
  const auto set = [&all](const char* key, host::JsonRef value) {
    host::PutJson(all.get(), key, std::move(value));
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
  return all;
}

bool IsMeant(const std::string& question) {
  std::fflush(stdout);
  std::fprintf(stderr, "%s [y/N] ", Printable(question).c_str());
  std::string line;
  for (int c = std::getchar(); c != EOF && c != '\n'; c = std::getchar()) {
    line += static_cast<char>(c);
  }
  return line == "y" || line == "Y" || line == "yes";
}

}  // namespace ctl
