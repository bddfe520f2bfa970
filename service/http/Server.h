// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_SERVER_H_
#define SERVICE_HTTP_SERVER_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/steady_timer.hpp>

#include "service/http/Session.h"

namespace cloudservice {

// Accepts connections and serves them all on the thread that runs the io_context; a slow one never
// holds up another.
class Server {
 public:
  // `tls` null: plain HTTP. Everything given outlives the server; the server outlives the run of
  // the io_context.
  Server(boost::asio::io_context& io, boost::asio::ssl::context* tls, SessionContext context);

  // Binds and listens; an IPv6 address without brackets. Throws std::runtime_error that names the
  // address and the reason.
  void Listen(const std::string& address, std::uint16_t port);
  // "https://127.0.0.1:8443", with the port that was really taken.
  std::string Url() const;

  // Accepts no more, ends every connection (answers being sent are sent to their end, each within
  // its time), then calls `done` once.
  void Stop(std::function<void()> done);

  std::size_t Connections() const { return m_sessions.size(); }

 private:
  void Accept();
  void OnAccept(const boost::system::error_code& error, boost::asio::ip::tcp::socket socket);
  void Begin(boost::asio::ip::tcp::socket socket);
  void OnEnded(Session* session);
  void TellDone();

  boost::asio::io_context& m_io;
  boost::asio::ssl::context* const m_tls;
  const SessionContext m_context;
  boost::asio::ip::tcp::acceptor m_acceptor;
  boost::asio::steady_timer m_pause;
  std::unordered_set<Session*> m_sessions;
  std::function<void()> m_done;
  bool m_stopping = false;
  // Ends with the server: connections that the io_context still holds then don't call it.
  const std::shared_ptr<const bool> m_alive = std::make_shared<const bool>(true);
};

// Runs the io_context until nothing is left to do. An exception ends the connection whose operation
// it left, and becomes a line in the log.
void RunLoop(boost::asio::io_context& io, const Log& log);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_SERVER_H_
