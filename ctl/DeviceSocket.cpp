#include "ctl/DeviceSocket.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "host/Fd.h"
#include "host/Paths.h"
#include "host/UnixAddress.h"
#include "platform/util/LocalPath.h"

namespace ctl {

namespace {

constexpr int kAnswerSeconds = 10;

// More than any device's list needs.
constexpr size_t kLongestAnswer = 16 * 1024 * 1024;

bool SendAll(int socket, const std::string& text) {
  for (size_t sent = 0; sent < text.size();) {
    const ssize_t n = send(socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    sent += static_cast<size_t>(n);
  }
  return true;
}

// One line, without its end. False with errno when none came.
bool ReceiveLine(int socket, std::string& line) {
  char buffer[4096];
  while (line.size() <= kLongestAnswer) {
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

}  // namespace

Reach AskDevice(const json_t* request, host::JsonRef& answer, std::string& problem) {
  const std::string path = LocalPath(host::kControlSocket);
  const host::UnixAddress address(path);
  const host::Fd socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!socket.IsOpen() || address.Status() != 0 ||
      connect(socket.Get(), address.Get(), address.Size()) != 0) {
    const int error = address.Status() != 0 ? address.Status() : errno;
    problem = "no daemon answers at " + path + ": " + std::strerror(error);
    return Reach::kNobodyThere;
  }
  const struct timeval limit = {kAnswerSeconds, 0};
  setsockopt(socket.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  setsockopt(socket.Get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);

  const std::unique_ptr<char, decltype(&std::free)> text(json_dumps(request, JSON_COMPACT),
                                                         &std::free);
  std::string line;
  if (!text || !SendAll(socket.Get(), text.get() + std::string("\n")) ||
      !ReceiveLine(socket.Get(), line)) {
    problem = "no answer from " + path + ": " + std::strerror(errno);
    return Reach::kBroken;
  }
  answer.reset(json_loadb(line.data(), line.size(), JSON_ALLOW_NUL, nullptr));
  if (!json_is_object(answer.get())) {
    problem = "the answer from " + path + " is not a JSON object";
    return Reach::kBroken;
  }
  return Reach::kAnswered;
}

}  // namespace ctl
