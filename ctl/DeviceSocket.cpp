// SPDX-License-Identifier: Apache-2.0
// A request to the daemon over the device's socket.
#include "ctl/DeviceSocket.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

#include "host/util/Fd.h"
#include "host/util/Paths.h"
#include "host/util/UnixAddress.h"
#include "platform/util/LocalPath.h"

namespace ctl {

using host::Problem;

namespace {

typedef std::chrono::steady_clock Clock;

// More than any device's list needs.
constexpr size_t kLongestAnswer = 16 * 1024 * 1024;

// Lets `option` end by `end`. False, with errno as a call that waited too long leaves it, when that
// has passed.
bool Limit(int socket, int option, Clock::time_point end) {
  const auto left = std::chrono::duration_cast<std::chrono::microseconds>(end - Clock::now());
  if (left.count() <= 0) {
    errno = EAGAIN;
    return false;
  }
  const struct timeval limit = {left.count() / 1000000, left.count() % 1000000};
  return setsockopt(socket, SOL_SOCKET, option, &limit, sizeof limit) == 0;
}

bool SendAll(int socket, const std::string& text, Clock::time_point end) {
  for (size_t sent = 0; sent < text.size();) {
    if (!Limit(socket, SO_SNDTIMEO, end)) return false;
    const ssize_t n = send(socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    sent += static_cast<size_t>(n);
  }
  return true;
}

// One line, without its end. False with errno when none came.
bool ReceiveLine(int socket, std::string& line, Clock::time_point limit) {
  char buffer[4096];
  while (line.size() <= kLongestAnswer) {
    if (!Limit(socket, SO_RCVTIMEO, limit)) return false;
    const ssize_t n = recv(socket, buffer, sizeof buffer, 0);
    if (n < 0 && errno == EINTR) continue;
    if (n == 0) errno = ECONNRESET;
    if (n <= 0) return false;
    line.append(buffer, static_cast<size_t>(n));
    const size_t end = line.find('\n');
    if (end == std::string::npos) continue;
    line.erase(end);
    return true;
  }
  errno = EMSGSIZE;
  return false;
}

// ENOENT and ECONNREFUSED: no daemon is there.
Problem Connect(int socket, const std::string& path, Clock::time_point end) {
  const host::UnixAddress address(path);
  if (address.Failure()) return address.Failure();
  // A connection waits for its turn as well.
  const bool connected =
      Limit(socket, SO_SNDTIMEO, end) && connect(socket, address.Get(), address.Size()) == 0;
  return connected ? Problem() : Problem::OfErrno(errno);
}

// Whether the other side ended the connection: a daemon does so to nobody who asks, but by its own
// end.
bool IsLost(int error) { return error == ECONNRESET || error == EPIPE; }

// The problem in the words for a person who waits.
Problem Reworded(const Problem& problem) {
  return problem.Errno() == EAGAIN ? Problem("it takes too long") : problem;
}

}  // namespace

bool IsDaemonMissing(const Problem& problem) {
  const int error = problem.Errno();
  return error == ENOENT || error == ECONNREFUSED || IsLost(error);
}

Problem RequestFromDaemon(const json_t* request, double seconds, host::JsonRef& answer) {
  const auto end = Clock::now() + std::chrono::microseconds(static_cast<int64_t>(seconds * 1e6));
  const std::string path = LocalPath(host::kControlSocket);
  const host::Fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const Problem refusal =
      socket.IsOpen() ? Connect(socket.Get(), path, end) : Problem::OfErrno(errno);
  if (refusal) {
    const char* const what =
        IsDaemonMissing(refusal) ? "no daemon answers at " : "no connection with ";
    return Reworded(refusal).With(what + path);
  }
  const std::unique_ptr<char, decltype(&std::free)> text(json_dumps(request, JSON_COMPACT),
                                                         &std::free);
  std::string line;
  if (!text || !SendAll(socket.Get(), text.get() + std::string("\n"), end) ||
      !ReceiveLine(socket.Get(), line, end)) {
    const Problem problem = Problem::OfErrno(errno);
    const char* const what =
        IsLost(problem.Errno()) ? "the daemon ended before it answered at " : "no answer from ";
    return Reworded(problem).With(what + path);
  }
  answer.reset(json_loadb(line.data(), line.size(), JSON_ALLOW_NUL, nullptr));
  if (!json_is_object(answer.get())) {
    return Problem("the answer from " + path + " is not a JSON object");
  }
  return {};
}

}  // namespace ctl
