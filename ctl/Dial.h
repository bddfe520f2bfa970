// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_DIAL_H_
#define CTL_DIAL_H_

#include <chrono>
#include <functional>
#include <string>

#include "host/util/Fd.h"
#include "host/util/Problem.h"

namespace ctl {

typedef std::chrono::steady_clock SteadyClock;

// Where a service listens.
struct ServiceAddress {
  std::string host;  // a name, or an address without brackets
  std::string port;  // a number

  // "cloud.example.org:443", "[2001:db8::7]:443"
  std::string Text() const;
};

// A URL with a mask for the user and password that it may hold.
std::string WithoutUser(std::string url);

// The address that an https URL names; a user before it and what follows it are not looked at. A
// problem shows the URL without them.
host::Problem ParseServiceUrl(const std::string& url, ServiceAddress& address);

// The time that is so many seconds from now.
SteadyClock::time_point After(double seconds);

// "10 s", "0.5 s"
std::string SecondsText(double seconds);

// Waits until the descriptor is ready for one of poll's `events`, or is broken; false at `end`.
bool WaitUntilReady(int fd, short events, SteadyClock::time_point end);

// Runs `work` on a thread of its own and waits for it for so long; false when that has passed. The
// thread then goes on: what `work` uses has to live as long.
bool RunWithin(double seconds, std::function<void()> work);

// A TCP connection, non-blocking, with the first of the host's addresses that takes one. The name
// may take so many seconds, and the connection so many more, shared evenly by the addresses. A
// problem names host and port and is a sentence.
host::Problem Dial(const ServiceAddress& address, double seconds, host::Fd& connection);

}  // namespace ctl

#endif  // CTL_DIAL_H_
