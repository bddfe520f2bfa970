// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_REGISTERING_H_
#define CTL_REGISTERING_H_

#include <string>

namespace ctl {

// Where systemd runs and this is root's process, has it start the daemon, or start it anew if it
// runs and `isNeeded`. Otherwise, and when that fails, what a person has to do, as a sentence;
// empty for nothing. The daemon's answer may take so many seconds.
std::string HaveDaemonRestarted(bool isNeeded, double seconds);

// Waits, `wait` seconds at most, until the configuration holds a token other than the former one
// that the service at `url` knows, and a chassis; each request within `seconds`.
bool AwaitRegistration(const std::string& url, const std::string& formerToken, double wait,
                       double seconds);

}  // namespace ctl

#endif  // CTL_REGISTERING_H_
