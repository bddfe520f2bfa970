// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_MEETING_H_
#define CTL_MEETING_H_

#include <string>
#include <vector>

#include "ctl/Certificate.h"
#include "ctl/Dial.h"
#include "host/util/Json.h"
#include "host/util/Problem.h"

namespace ctl {

// A service that shows its certificate, and what the policy pins so far.
struct Meeting {
  ServiceAddress address;
  Certificate certificate;
  std::string file;  // the policy's, this machine's path
  std::vector<std::string> pins;

  bool IsPinned() const;
  // The system's store vouches for the certificate, and it names the host.
  bool IsVouchedFor() const { return certificate.storeProblem.empty() && certificate.isOfHost; }
};

// Reads the pins of `meeting.file` and asks the service at `meeting.address` for its certificate:
// name, connection and handshake within so many seconds each.
host::Problem Meet(double seconds, Meeting& meeting);

// For a person, a line each.
void PrintMeeting(const Meeting& meeting);
// The same as an object.
host::JsonRef MeetingJson(const Meeting& meeting);

// Asks on the terminal, with standard error for the question; anything but a yes is none.
bool IsMeant(const std::string& question);

}  // namespace ctl

#endif  // CTL_MEETING_H_
