// SPDX-License-Identifier: Apache-2.0
// Bytes of a connection to the service, in pieces as they come over a network.
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include <boost/asio/io_context.hpp>

#include "Input.h"
#include "service/http/Server.h"
#include "service/http/Stream.h"

namespace cloudservice {

namespace {

constexpr size_t kBodyBytes = 65536;
// What one input may send at most.
constexpr size_t kMostBytes = 1 << 20;

// Both ends of one connection; the session has one of them.
class Connection {
 public:
  Connection() {
    std::array<int, 2> ends = {};
    fuzz::Require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) == 0,
                  "there is a pair of sockets");
    m_end = ends[0];
    fcntl(m_end, F_SETFL, O_NONBLOCK);
    boost::asio::ip::tcp::socket socket(m_io, boost::asio::ip::tcp::v4(), ends[1]);
    MakeSession(std::move(socket), nullptr, m_context, [this](Session*) {
      m_ended = true;
    })->Start();
  }
  ~Connection() { Close(); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void Send(const std::string& piece) {
    size_t done = 0;
    while (done < piece.size() && !m_ended) {
      const ssize_t n = send(m_end, piece.data() + done, piece.size() - done, MSG_NOSIGNAL);
      if (n > 0) done += static_cast<size_t>(n);
      if (n < 0 && errno != EAGAIN) return;
      Serve();
    }
  }

  // All that the session has answered, once the sender has said that nothing more comes.
  std::string End() {
    shutdown(m_end, SHUT_WR);
    for (int i = 0; i < 10000 && !m_ended; ++i) Serve();
    fuzz::Require(m_ended, "a connection ends with its sender");
    return m_answers;
  }

 private:
  void Serve() {
    for (;;) {
      try {
        m_io.restart();
        m_io.poll();
        break;
      } catch (const std::runtime_error& error) {
        fuzz::Require(error.what() == std::string("thrown"), "only the handler throws");
      }
    }
    std::array<char, 65536> bytes = {};
    ssize_t n = 0;
    while ((n = recv(m_end, bytes.data(), bytes.size(), 0)) > 0) {
      m_answers.append(bytes.data(), static_cast<size_t>(n));
    }
  }
  void Close() const { close(m_end); }

  static Response Handle(const Request& request) {
    fuzz::Require(!request.method.empty() && !request.target.Text().empty(),
                  "a request says what it is");
    fuzz::Require(request.body.size() <= kBodyBytes, "a body keeps its limit");
    fuzz::Require(request.token == request.Header("X-Auth-Token") ||
                      request.Header("X-Auth-Token").find(", ") != std::string::npos,
                  "a token is a header");
    if (request.target.Text() == "/throw") throw std::runtime_error("thrown");
    Response response;
    response.body = request.body;
    if (request.target.Text() == "/stream") {
      response.stream = std::make_shared<Stream>(kBodyBytes);
      response.stream->Write(request.body);
      response.stream->End();
    }
    return response;
  }

  static Response Refuse(unsigned status, const Request& request, const std::string& reason) {
    constexpr std::array<unsigned, 6> kKnown = {400, 413, 417, 431, 501, 505};
    fuzz::Require(std::find(kKnown.begin(), kKnown.end(), status) != kKnown.end(),
                  "a refusal has a known status");
    fuzz::Require(!reason.empty() && request.body.empty(), "a refusal says why");
    Response response;
    response.status = status;
    response.body = reason;
    return response;
  }

  static SessionContext Context(const Log& log) {
    SessionContext context;
    context.limits.bodyBytes = kBodyBytes;
    context.take = [](const std::shared_ptr<const Request>& request, const Reply& reply) {
      reply(Handle(*request));
    };
    context.refuse = Refuse;
    context.clock = [] { return time_t{1772716029}; };
    context.log = &log;
    return context;
  }

  const Log m_log{[](const std::string&) {}, [] { return time_t{1772716029}; }};
  const SessionContext m_context = Context(m_log);
  bool m_ended = false;
  int m_end = -1;
  std::string m_answers;
  boost::asio::io_context m_io{1};
};

}  // namespace

// Pieces are ended by the byte 0x01, or by 0x02 and a count of how often the piece is sent.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  Connection connection;
  size_t left = kMostBytes;
  while (!input.AtEnd()) {
    std::string piece = input.Text('\x01');
    const size_t mark = piece.find('\x02');
    size_t times = 1;
    if (mark != std::string::npos && mark + 1 < piece.size()) {
      times = static_cast<unsigned char>(piece[mark + 1]) * size_t{16};
      piece.resize(mark);
    }
    std::string sent;
    for (size_t i = 0; i < times && sent.size() + piece.size() <= left; ++i) sent += piece;
    left -= sent.size();
    connection.Send(sent);
  }
  const std::string answers = connection.End();
  fuzz::Require(answers.empty() || answers.rfind("HTTP/1.1 ", 0) == 0, "an answer is HTTP");
  return 0;
}

}  // namespace cloudservice
