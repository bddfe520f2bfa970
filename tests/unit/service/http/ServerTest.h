// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_SERVERTEST_H_
#define TESTS_UNIT_SERVICE_SERVERTEST_H_

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <gtest/gtest.h>

#include "Peer.h"
#include "service/http/Server.h"
#include "service/http/Stream.h"

namespace cloudservice {

// A server in a thread of its own, whose handler answers with what it was asked.
class ServerTest : public testing::Test {
 protected:
  ~ServerTest() override {
    if (m_thread.joinable()) Stop();
  }

  void Start(const ServerTls* tls = nullptr) {
    SessionContext context;
    context.limits = limits;
    context.take = [this](const std::shared_ptr<const Request>& request, const Reply& reply) {
      reply(Answer(*request));
    };
    context.admit = [](const std::shared_ptr<const Request>& head, const HeadReply& reply) {
      if (head->target.Text() != "/stranger") return reply(std::nullopt);
      Response refusal;
      refusal.status = 401;
      refusal.body = "Who is this?";
      reply(refusal);
    };
    context.proxies = proxies;
    context.bodies = bodies;
    context.refuse = [this](unsigned status, const Request& request, const std::string& reason) {
      log.Line(request.method + " " + request.target.Text() + " " + reason);
      if (request.target.Text() == "/peer") log.Line("refused " + request.peer);
      Response response;
      response.status = status;
      response.body = reason;
      return response;
    };
    context.clock = [] { return kNow; };
    context.steady = [this] {
      const auto now = std::chrono::steady_clock::now();
      return m_ticking ? m_start + std::chrono::seconds(++m_looks) : now;
    };
    context.log = &log;
    server = std::make_unique<Server>(io, tls, context, connectionLimits);
    server->Listen("127.0.0.1", 0);
    const std::string url = server->Url();
    port = static_cast<std::uint16_t>(std::stoul(url.substr(url.rfind(':') + 1)));
    m_thread = std::thread([this] { RunLoop(io, log); });
  }

  // Returns when the server has ended every connection. May come after another stop.
  void Stop() {
    boost::asio::post(io, [this] { server->Stop([] {}); });
    m_thread.join();
  }

  // Calls the function on the server's thread and waits for its end.
  void OnServer(const std::function<void()>& function) {
    std::promise<void> done;
    boost::asio::post(io, [&] {
      function();
      done.set_value();
    });
    done.get_future().wait();
  }

  std::string Lines() {
    const std::lock_guard<std::mutex> guard(m_mutex);
    return m_lines;
  }

  static std::string Get(const std::string& target) {
    return "GET " + target + " HTTP/1.1\r\nHost: x\r\n\r\n";
  }
  static std::string Post(const std::string& body, const std::string& length) {
    return "POST /p HTTP/1.1\r\nHost: x\r\nContent-Length: " + length + "\r\n\r\n" + body;
  }
  static std::string Chunked(const std::string& chunks) {
    return "POST /p HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks;
  }
  // What a connection that sends these bytes, and then nothing more, reads until its end.
  std::string Exchange(const std::string& bytes) {
    Peer peer(port);
    peer.Send(bytes);
    peer.EndSending();
    return peer.ReadAll();
  }

  // A connection that sends `begin`, and a byte whenever the server has taken the one before and
  // looks at its clock, on which a second passes with each look: there is always something to read.
  // How many bytes it takes until it ends the connection.
  int Drip(const std::string& begin) {
    m_ticking = true;
    Peer peer(port);
    while (Connections() == 0) {
    }
    peer.Send(begin);
    for (int taken = 0; taken < kEndlessDrip; ++taken) {
      const int before = m_looks;
      peer.Send("a");
      for (int i = 0; m_looks == before; ++i) {
        if (Connections() == 0) return taken;
        if (i == kMostRounds) return kEndlessDrip;
      }
    }
    return kEndlessDrip;
  }

  static constexpr int kEndlessDrip = 200;
  static constexpr std::size_t kBig = 32 * 1024 * 1024;
  static constexpr time_t kNow = 1772716029;

  Limits limits;
  ConnectionLimits connectionLimits;
  TrustedProxies proxies;
  std::shared_ptr<Budget> bodies = std::make_shared<Budget>(kBodiesBytes);
  std::uint16_t port = 0;
  std::shared_ptr<Stream> written = std::make_shared<Stream>(1024 * 1024);
  boost::asio::io_context io{1};
  std::unique_ptr<Server> server;
  Log log{[this](const std::string& line) {
            const std::lock_guard<std::mutex> guard(m_mutex);
            m_lines += line + "\n";
          },
          [] { return kNow; }};

 private:
  Response Answer(const Request& request) {
    Response response;
    response.status = request.target.Text() == "/gone" ? 204 : 201;
    response.headers = {{"Location", "/x"}, {"X-Auth-Token", "t"}};
    response.body =
        request.method + " " + request.target.Text() + " [" + request.token + "] " +
        (request.body.size() < 100 ? request.body : std::to_string(request.body.size()));
    if (request.target.Text() == "/unchanged") response.status = 304;
    if (request.target.Text() == "/headers") {
      response.body = request.Header("if-match") + "|" + request.Header("none");
      response.SetHeader("Cache-Control", "no-cache");
    }
    if (request.target.Text() == "/peer") response.body = request.peer;
    if (request.target.Text() == "/big") response.body = std::string(kBig, 'b');
    if (request.target.Text() == "/throw") throw std::runtime_error("no memory");
    if (request.target.Text() == "/stream") {
      response.stream = written;
      response.body.clear();
    }
    return response;
  }

  // The number of open connections, at a moment when the server's thread does nothing else.
  std::size_t Connections() {
    std::size_t connections = 0;
    OnServer([&] { connections = server->Counts().open; });
    return connections;
  }

  // How often the server's thread comes round while it might look at the clock.
  static constexpr int kMostRounds = 10000;

  const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
  std::atomic<bool> m_ticking{false};
  std::atomic<int> m_looks{0};
  std::mutex m_mutex;
  std::string m_lines;
  std::thread m_thread;
};

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_SERVERTEST_H_
