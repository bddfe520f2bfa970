// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_PEER_H_
#define TESTS_UNIT_SERVICE_PEER_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace cloudservice {

// A raw connection to a server on 127.0.0.1. Reading gives up after half a minute, so that a test
// fails where it would hang.
class Peer {
 public:
  explicit Peer(std::uint16_t port) : m_fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const struct timeval limit = {30, 0};
    setsockopt(m_fd, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    struct sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(m_fd, reinterpret_cast<struct sockaddr*>(&address), sizeof address) != 0) {
      close(m_fd);
      throw std::runtime_error("cannot connect");
    }
  }
  ~Peer() { close(m_fd); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  void Send(const std::string& bytes) const {
    std::size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t n = send(m_fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
      if (n <= 0) return;
      done += static_cast<std::size_t>(n);
    }
  }
  // False when the other side has closed the connection.
  bool SendSome(const std::string& bytes) const {
    return send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) >= 0;
  }
  void EndSending() const { shutdown(m_fd, SHUT_WR); }

  // Everything until the other side ends the connection.
  std::string ReadAll() {
    while (More()) {
    }
    return std::exchange(m_read, "");
  }

  // What has arrived, at least a byte of it.
  std::string ReadSome() {
    More();
    return std::exchange(m_read, "");
  }

  // One answer: header and as many bytes of body as it says.
  std::string ReadAnswer() {
    std::size_t end = std::string::npos;
    while ((end = m_read.find("\r\n\r\n")) == std::string::npos) {
      if (!More()) return std::exchange(m_read, "");
    }
    const std::size_t length = m_read.find("Content-Length: ");
    std::size_t size = end + 4;
    if (length < end) size += std::stoul(m_read.substr(length + 16));
    while (m_read.size() < size && More()) {
    }
    const std::string answer = m_read.substr(0, size);
    m_read.erase(0, size);
    return answer;
  }

 private:
  bool More() {
    char bytes[4096];
    const ssize_t n = recv(m_fd, bytes, sizeof bytes, 0);
    if (n > 0) m_read.append(bytes, static_cast<std::size_t>(n));
    return n > 0;
  }

  const int m_fd;
  std::string m_read;
};

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_PEER_H_
