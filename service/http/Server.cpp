// SPDX-License-Identifier: Apache-2.0
// The listener and its connections.
#include "service/http/Server.h"

#include <stdexcept>
#include <utility>
#include <vector>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>

namespace cloudservice {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

// The pause after a failed accept, when the system has no descriptor or memory for a connection.
constexpr std::chrono::milliseconds kAcceptPause{100};

}  // namespace

Server::Server(asio::io_context& io, asio::ssl::context* tls, SessionContext context)
    : m_io(io), m_tls(tls), m_context(std::move(context)), m_acceptor(io), m_pause(io) {}

void Server::Listen(const std::string& address, std::uint16_t port) {
  const tcp::endpoint endpoint(asio::ip::make_address(address), port);
  error_code error;
  m_acceptor.open(endpoint.protocol(), error);
  if (!error) m_acceptor.set_option(asio::socket_base::reuse_address(true), error);
  if (!error) m_acceptor.bind(endpoint, error);
  if (!error) m_acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (error) {
    throw std::runtime_error("cannot listen on " + address + ", port " + std::to_string(port) +
                             ": " + error.message());
  }
  Accept();
}

std::string Server::Url() const {
  const tcp::endpoint endpoint = m_acceptor.local_endpoint();
  std::string host = endpoint.address().to_string();
  if (endpoint.address().is_v6()) host = "[" + host + "]";
  return (m_tls != nullptr ? "https://" : "http://") + host + ":" + std::to_string(endpoint.port());
}

void Server::Accept() {
  m_acceptor.async_accept(
      [this](const error_code& error, tcp::socket socket) { OnAccept(error, std::move(socket)); });
}

void Server::OnAccept(const error_code& error, tcp::socket socket) {
  if (m_stopping) return;
  if (error && error != asio::error::connection_aborted) {
    m_context.log->Line("cannot accept a connection: " + error.message());
    m_pause.expires_after(kAcceptPause);
    m_pause.async_wait([this](const error_code& cancelled) {
      if (!cancelled) Accept();
    });
    return;
  }
  // The next accept comes first: an exception from the new connection must not stop accepting.
  Accept();
  if (!error) Begin(std::move(socket));
}

void Server::Begin(tcp::socket socket) {
  error_code ignored;
  socket.set_option(tcp::no_delay(true), ignored);
  auto ended = [this, alive = std::weak_ptr<const bool>(m_alive)](Session* session) {
    if (!alive.expired()) OnEnded(session);
  };
  const auto session = MakeSession(std::move(socket), m_tls, m_context, std::move(ended));
  m_sessions.insert(session.get());
  session->Start();
}

void Server::OnEnded(Session* session) {
  m_sessions.erase(session);
  if (m_stopping) TellDone();
}

void Server::Stop(std::function<void()> done) {
  m_stopping = true;
  m_done = std::move(done);
  error_code ignored;
  m_acceptor.close(ignored);
  m_pause.cancel();
  // A copy, since Stop() may end a connection, which then leaves the set.
  const std::vector<Session*> sessions(m_sessions.begin(), m_sessions.end());
  for (Session* session : sessions) session->Stop();
  TellDone();
}

void Server::TellDone() {
  if (!m_sessions.empty() || !m_done) return;
  asio::post(m_io, std::exchange(m_done, nullptr));
}

void RunLoop(asio::io_context& io, const Log& log) {
  while (!io.stopped()) {
    try {
      io.run();
    } catch (const std::exception& error) {
      log.Line(std::string("error: a connection is given up: ") + error.what());
    }
  }
}

}  // namespace cloudservice
