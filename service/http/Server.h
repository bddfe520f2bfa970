// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_SERVER_H_
#define SERVICE_HTTP_SERVER_H_

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include "service/http/Connections.h"
#include "service/http/Session.h"
#include "service/http/Tls.h"
#include "service/util/HandedSockets.h"

namespace cloudservice {

// Accepts connections and serves them all on the threads that run the io_context, each connection
// on one at a time. A slow connection does not delay the others. Any thread may call the operations
// after Listen().
class Server {
 public:
  // `tls` null: plain HTTP. `io`, `tls` and what `context` points to outlive the server; the server
  // outlives the run of the io_context.
  Server(boost::asio::io_context& io, const ServerTls* tls, SessionContext context,
         const ConnectionLimits& limits = {});

  // Binds and listens. `address` is an IPv4 or IPv6 address, without brackets; port 0 takes any
  // free one. Throws std::runtime_error that names the address and the reason.
  void Listen(const std::string& address, std::uint16_t port);
  // Accepts connections of a socket that listens already, and closes it at the end. Throws
  // std::runtime_error when it is none.
  void Take(const HandedSocket& socket);
  // The server's URLs, "https://127.0.0.1:8443", with the ports that it listens on: one for each
  // Listen() and Take(). Url() is the first of them.
  std::vector<std::string> Urls() const;
  std::string Url() const { return Urls().front(); }

  // Accepts no more connections and ends every connection. An answer that is being sent is sent to
  // its end within its time limit. Calls `done` once, after the last connection has ended. Returns
  // at once.
  void Stop(std::function<void()> done);

  ConnectionCounts Counts() const { return m_connections.Counts(); }

 private:
  // A socket that listens. Its executor runs one operation at a time.
  struct Listener {
    explicit Listener(boost::asio::io_context& io);

    boost::asio::ip::tcp::acceptor acceptor;
    boost::asio::steady_timer pause;  // after a failed accept
  };

  Listener& AddListener();
  void Accept(Listener& listener);
  void OnAccept(Listener& listener, const boost::system::error_code& error,
                boost::asio::ip::tcp::socket socket);
  void Begin(boost::asio::ip::tcp::socket socket);

  boost::asio::io_context& m_io;
  const ServerTls* const m_tls;
  const SessionContext m_context;
  std::vector<std::unique_ptr<Listener>> m_listeners;
  std::atomic<bool> m_stopping{false};
  Connections m_connections;
  // Expires with the server. Connections that the io_context still holds afterwards see that, and
  // don't call the server.
  const std::shared_ptr<const bool> m_alive = std::make_shared<const bool>(true);
};

// Runs the io_context on this thread until it has nothing left to do. An exception from a
// connection's operation ends that connection and becomes a line in the log. Blocks.
void RunLoop(boost::asio::io_context& io, const Log& log);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_SERVER_H_
