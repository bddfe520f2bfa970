// SPDX-License-Identifier: Apache-2.0
// The listener and its connections.
#include "service/http/Server.h"

#include <stdexcept>
#include <utility>

#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>

#include "service/util/Sender.h"

namespace cloudservice {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

// The pause after a failed accept, when the system has no descriptor or memory for a connection.
constexpr std::chrono::milliseconds kAcceptPause{100};

}  // namespace

Server::Server(asio::io_context& io, const ServerTls* tls, SessionContext context,
               const ConnectionLimits& limits)
    : m_io(io), m_tls(tls), m_context(std::move(context)), m_connections(limits) {}

Server::Listener::Listener(asio::io_context& io)
    : acceptor(asio::make_strand(io)), pause(acceptor.get_executor()) {}

Server::Listener& Server::AddListener() {
  m_listeners.push_back(std::make_unique<Listener>(m_io));
  return *m_listeners.back();
}

void Server::Listen(const std::string& address, std::uint16_t port) {
  const tcp::endpoint endpoint(asio::ip::make_address(address), port);
  Listener& listener = AddListener();
  tcp::acceptor& acceptor = listener.acceptor;
  error_code error;
  acceptor.open(endpoint.protocol(), error);
  if (!error) acceptor.set_option(asio::socket_base::reuse_address(true), error);
  if (!error) acceptor.bind(endpoint, error);
  if (!error) acceptor.listen(asio::socket_base::max_listen_connections, error);
  if (error) {
    throw std::runtime_error("cannot listen on " + address + ", port " + std::to_string(port) +
                             ": " + error.message());
  }
  Accept(listener);
}

void Server::Take(const HandedSocket& socket) {
  const tcp protocol = FamilyOf(socket) == AF_INET ? tcp::v4() : tcp::v6();
  Listener& listener = AddListener();
  listener.acceptor.assign(protocol, socket.descriptor);
  Accept(listener);
}

std::vector<std::string> Server::Urls() const {
  std::vector<std::string> urls;
  for (const auto& listener : m_listeners) {
    const tcp::endpoint endpoint = listener->acceptor.local_endpoint();
    std::string host = endpoint.address().to_string();
    if (endpoint.address().is_v6()) host = "[" + host + "]";
    urls.push_back((m_tls != nullptr ? "https://" : "http://") + host + ":" +
                   std::to_string(endpoint.port()));
  }
  return urls;
}

void Server::Accept(Listener& listener) {
  const asio::any_io_executor own = asio::make_strand(m_io);
  listener.acceptor.async_accept(own,
                                 [this, &listener](const error_code& error, tcp::socket socket) {
                                   OnAccept(listener, error, std::move(socket));
                                 });
}

void Server::OnAccept(Listener& listener, const error_code& error, tcp::socket socket) {
  if (m_stopping) return;
  if (error && error != asio::error::connection_aborted) {
    m_context.log->Line("cannot accept a connection: " + error.message());
    listener.pause.expires_after(kAcceptPause);
    listener.pause.async_wait([this, &listener](const error_code& cancelled) {
      if (!cancelled) Accept(listener);
    });
    return;
  }
  // The next accept comes first: an exception from the new connection must not stop accepting.
  Accept(listener);
  if (!error) Begin(std::move(socket));
}

void Server::Begin(tcp::socket socket) {
  error_code ignored;
  socket.set_option(tcp::no_delay(true), ignored);
  const tcp::endpoint peer = socket.remote_endpoint(ignored);
  auto ended = [this, alive = std::weak_ptr<const bool>(m_alive)](Session* session) {
    if (!alive.expired()) m_connections.Remove(session);
  };
  const auto tls = m_tls != nullptr ? m_tls->Current() : nullptr;
  const auto session = MakeSession(std::move(socket), tls.get(), m_context, std::move(ended));
  const std::string address = peer.address().to_string();
  // Who sends through a proxy is not known before a header is read.
  const bool one = !m_context.proxies.Trust(address);
  if (m_connections.Add(session, one ? SenderOf(address) : "")) session->Start();
}

void Server::Stop(std::function<void()> done) {
  m_stopping = true;
  for (const auto& one : m_listeners) {
    asio::post(one->acceptor.get_executor(), [&listener = *one] {
      error_code ignored;
      listener.acceptor.close(ignored);
      listener.pause.cancel();
    });
  }
  m_connections.Stop([this, done = std::move(done)] { asio::post(m_io, done); });
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
