// SPDX-License-Identifier: Apache-2.0
// The control socket: its file, its clients, lines in and out.
#include "host/device/ControlSocket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "host/util/Log.h"
#include "host/util/UnixAddress.h"

namespace host {
namespace {

constexpr int64_t kAcceptPauseMs = 1000;
constexpr int kReadsPerTurn = 16;

// What the last call of the system failed with, and on what.
Problem Failed(const char* what) { return Problem::OfErrno(errno).With(what); }

// Whether somebody serves the socket file.
bool IsAlive(const UnixAddress& address) {
  Fd probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  return connect(probe.Get(), address.Get(), address.Size()) == 0 || errno == EAGAIN;
}

}  // namespace

ControlSocket::ControlSocket(std::string path, Handler handler, Answers answers)
    : m_path(std::move(path)), m_handler(std::move(handler)), m_answers(std::move(answers)) {
  const Problem problem = Open();
  if (!problem) return;
  m_listener.Reset();
  HOST_LOG(3, "%s is not served: %s", m_path.c_str(), problem.Text().c_str());
}

ControlSocket::~ControlSocket() {
  if (m_listener.IsOpen()) unlink(m_path.c_str());
}

Problem ControlSocket::Open() {
  if (Problem problem = MakeFolders(FolderOf(m_path))) return problem.With("its folder");
  // The lock keeps two processes that start at once from both finding the file unserved.
  m_lock = std::make_unique<FileLock>(m_path + ".lock", 0, OwnershipOf(m_path + ".lock"));
  if (m_lock->Failure().Errno() == ETIMEDOUT) return Problem("another process serves it");
  if (m_lock->Failure()) return m_lock->Failure().With("its lock");
  const UnixAddress address(m_path);
  if (address.Failure()) return address.Failure().With("its address");
  if (IsAlive(address)) return Problem("another process serves it");
  if (unlink(m_path.c_str()) != 0 && errno != ENOENT) return Failed("the old file");

  m_listener = Fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  // The file takes the socket's mode: it is never open to others, not even for a moment.
  if (fchmod(m_listener.Get(), 0600) != 0) return Failed("its mode");
  if (bind(m_listener.Get(), address.Get(), address.Size()) != 0) return Failed("bind");
  if (listen(m_listener.Get(), SOMAXCONN) != 0) return Failed("listen");
  return {};
}

void ControlSocket::Want(Wait& wait) {
  if (m_listener.IsOpen() && m_clients.size() < kMostClients) {
    if (m_acceptFromMs == 0) {
      wait.ForRead(m_listener.Get());
    } else {
      wait.Until(m_acceptFromMs);
    }
  }
  for (const Client& client : m_clients) {
    if (client.output.empty()) {
      wait.ForRead(client.socket.Get());
    } else {
      wait.ForWrite(client.socket.Get());
    }
    wait.Until(client.lastActiveMs + kLongestSilenceMs);
  }
}

void ControlSocket::Serve(const Wait& wait, int64_t nowMs) {
  for (auto client = m_clients.begin(); client != m_clients.end();) {
    const bool stays = ServeClient(*client, wait.Ready(client->socket.Get()), nowMs);
    client = stays ? std::next(client) : m_clients.erase(client);
  }
  if (m_acceptFromMs != 0 && nowMs >= m_acceptFromMs) m_acceptFromMs = 0;
  if (m_listener.IsOpen() && wait.Ready(m_listener.Get())) Accept(nowMs);
}

void ControlSocket::Accept(int64_t nowMs) {
  while (m_clients.size() < kMostClients) {
    Fd socket(accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!socket.IsOpen()) {
      if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        HOST_LOG(4, "%s: a client has to wait: %s", m_path.c_str(), std::strerror(errno));
        m_acceptFromMs = nowMs + kAcceptPauseMs;
      }
      return;
    }
    m_clients.emplace_back();
    m_clients.back().socket = std::move(socket);
    m_clients.back().lastActiveMs = nowMs;
  }
}

// False when the client is done with.
bool ControlSocket::ServeClient(Client& client, bool ready, int64_t nowMs) {
  if (!ready) return nowMs - client.lastActiveMs < kLongestSilenceMs;
  client.lastActiveMs = nowMs;
  if (!client.output.empty()) return Flush(client) && AnswerLines(client);
  return Receive(client) && AnswerLines(client);
}

bool ControlSocket::Receive(Client& client) {
  char buffer[16384];
  for (int i = 0; i < kReadsPerTurn && client.input.size() <= kLongestLine; ++i) {
    ssize_t got = recv(client.socket.Get(), buffer, sizeof(buffer), 0);
    if (got == 0) client.ended = true;
    if (got == 0) return true;
    if (got < 0) return errno == EAGAIN || errno == EINTR;
    if (!client.skipping) {
      client.input.append(buffer, static_cast<size_t>(got));
    } else if (std::memchr(buffer, '\n', static_cast<size_t>(got)) != nullptr) {
      client.ended = true;
      return true;
    }
  }
  return true;
}

// Answers what came in, as long as the answers are taken. False when the client is done with.
bool ControlSocket::AnswerLines(Client& client) {
  while (client.output.empty() && !client.skipping) {
    const size_t end = client.input.find('\n');
    if (end == std::string::npos ? client.input.size() > kLongestLine : end > kLongestLine) {
      // The rest is read and dropped: a client that is still writing shall see the answer.
      client.skipping = true;
      client.ended = end != std::string::npos;
      client.input.clear();
      client.output = m_answers.tooLong + "\n";
    } else if (end != std::string::npos) {
      client.output = Answer(client.input.substr(0, end));
      client.input.erase(0, end + 1);
    } else if (client.ended && !client.input.empty()) {
      client.output = Answer(std::exchange(client.input, ""));
    } else {
      break;
    }
    if (!Flush(client)) return false;
  }
  return !client.output.empty() || !client.ended;
}

// With its line end.
std::string ControlSocket::Answer(const std::string& line) const {
  try {
    return m_handler(line) + "\n";
  } catch (const std::exception& error) {
    HOST_LOG(3, "%s: a request failed: %s", m_path.c_str(), error.what());
    return m_answers.failed + "\n";
  }
}

bool ControlSocket::Flush(Client& client) {
  while (!client.output.empty()) {
    ssize_t sent =
        send(client.socket.Get(), client.output.data(), client.output.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent < 0) return errno == EAGAIN;
    client.output.erase(0, static_cast<size_t>(sent));
  }
  return true;
}

}  // namespace host
