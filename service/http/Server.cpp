// SPDX-License-Identifier: Apache-2.0
// The listener and its connections.
#include "service/http/Server.h"

#include <stdexcept>
#include <utility>
#include <vector>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>

namespace cloudservice {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

// The pause after a failed accept, when the system has no descriptor or memory for a connection.
constexpr std::chrono::milliseconds kAcceptPause{100};

}  // namespace

Server::Server(asio::io_context& io, asio::ssl::context* tls, SessionContext context)
    : m_io(io),
      m_tls(tls),
      m_context(std::move(context)),
      m_acceptor(asio::make_strand(io)),
      m_pause(m_acceptor.get_executor()) {}

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
  const asio::any_io_executor own = asio::make_strand(m_io);
  m_acceptor.async_accept(own, [this](const error_code& error, tcp::socket socket) {
    OnAccept(error, std::move(socket));
  });
}

void Server::OnAccept(const error_code& error, tcp::socket socket) {
  if (IsStopping()) return;
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
  if (Add(session)) session->Start();
}

bool Server::Add(const std::shared_ptr<Session>& session) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  if (!m_stopping) m_sessions.emplace(session.get(), session);
  return !m_stopping;
}

void Server::OnEnded(Session* session) {
  const std::lock_guard<std::mutex> guard(m_mutex);
  m_sessions.erase(session);
  if (m_stopping) TellDoneLocked();
}

void Server::Stop(std::function<void()> done) {
  std::vector<std::shared_ptr<Session>> sessions;
  {
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_stopping = true;
    m_done = std::move(done);
    for (const auto& [key, session] : m_sessions) sessions.push_back(session.lock());
    TellDoneLocked();
  }
  asio::post(m_acceptor.get_executor(), [this] {
    error_code ignored;
    m_acceptor.close(ignored);
    m_pause.cancel();
  });
  for (const auto& session : sessions) {
    if (session) session->Stop();
  }
}

void Server::TellDoneLocked() {
  if (!m_sessions.empty() || !m_done) return;
  asio::post(m_io, std::exchange(m_done, nullptr));
}

bool Server::IsStopping() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return m_stopping;
}

std::size_t Server::Connections() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return m_sessions.size();
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
