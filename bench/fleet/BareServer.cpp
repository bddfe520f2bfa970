// SPDX-License-Identifier: Apache-2.0
// A server that does nothing but answer: what connections, TLS and HTTP take by themselves.
#include "BareServer.h"

#include <array>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/ssl/context.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>

namespace fleet {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

using asio::ip::tcp;
using boost::system::error_code;
using Plain = beast::tcp_stream;
using Tls = beast::ssl_stream<beast::tcp_stream>;

constexpr std::chrono::seconds kIdle{600};

// As long as the service's own answers.
const std::string kHeartbeat =
    "HTTP/1.1 200 OK\r\nDate: Thu, 05 Mar 2026 13:07:09 GMT\r\nServer: bare\r\n"
    "Cache-Control: no-store\r\nOData-Version: 4.0\r\nX-Request-Id: c07d4f2-1\r\n"
    "Content-Type: application/json; charset=utf-8\r\nContent-Length: 83\r\n\r\n"
    "{\"Count\":1,\"IntervalSeconds\":90,\"Last\":\"2026-03-05T14:07:09+01:00\",\"Overdue\":false}";
const std::string kDone =
    "HTTP/1.1 204 No Content\r\nDate: Thu, 05 Mar 2026 13:07:09 GMT\r\nServer: bare\r\n"
    "Cache-Control: no-store\r\nOData-Version: 4.0\r\nX-Request-Id: c07d4f2-1\r\n\r\n";

template <class Stream>
class Connection : public std::enable_shared_from_this<Connection<Stream>> {
 public:
  template <typename... Args>
  explicit Connection(Args&&... args) : m_stream(std::forward<Args>(args)...) {}

  void Start() {
    beast::get_lowest_layer(m_stream).expires_after(kIdle);
    if constexpr (std::is_same_v<Stream, Tls>) {
      m_stream.async_handshake(asio::ssl::stream_base::server, Then([this] { Read(); }));
    } else {
      Read();
    }
  }

 private:
  template <typename Next>
  auto Then(Next next) {
    return [self = this->shared_from_this(), next](error_code error, std::size_t = 0) {
      if (!error) return next();
      self->End();
    };
  }

  void Read() {
    m_parser.emplace();
    beast::get_lowest_layer(m_stream).expires_after(kIdle);
    http::async_read(m_stream, m_buffer, *m_parser, Then([this] { Answer(); }));
  }

  void Answer() {
    const bool post = m_parser->get().method() == http::verb::post;
    asio::async_write(m_stream, asio::buffer(post ? kHeartbeat : kDone), Then([this] { Read(); }));
  }

  void End() {
    if constexpr (std::is_same_v<Stream, Tls>) {
      m_stream.async_shutdown([self = this->shared_from_this()](error_code) {});
    }
  }

  Stream m_stream;
  beast::flat_buffer m_buffer;
  std::optional<http::request_parser<http::string_body>> m_parser;
};

asio::ssl::context TlsOf(const BareOptions& options) {
  asio::ssl::context context(asio::ssl::context::tls_server);
  context.use_certificate_chain_file(options.certificate);
  context.use_private_key_file(options.key, asio::ssl::context::pem);
  return context;
}

class Listener {
 public:
  Listener(asio::io_context& io, std::uint16_t port, asio::ssl::context* tls)
      : m_io(io),
        m_tls(tls),
        m_acceptor(io, tcp::endpoint(asio::ip::address_v4::loopback(), port)) {
    Accept();
  }

  std::uint16_t Port() const { return m_acceptor.local_endpoint().port(); }

 private:
  // A strand for each connection: its time limit and its operations never run at once.
  void Accept() {
    m_acceptor.async_accept(asio::make_strand(m_io), [this](error_code error, tcp::socket socket) {
      if (error == asio::error::operation_aborted) return;
      if (!error) Begin(std::move(socket));
      Accept();
    });
  }

  void Begin(tcp::socket socket) {
    error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    if (m_tls != nullptr) {
      std::make_shared<Connection<Tls>>(beast::tcp_stream(std::move(socket)), *m_tls)->Start();
    } else {
      std::make_shared<Connection<Plain>>(std::move(socket))->Start();
    }
  }

  asio::io_context& m_io;
  asio::ssl::context* const m_tls;
  tcp::acceptor m_acceptor;
};

}  // namespace

void RunBareServer(const BareOptions& options) {
  std::optional<asio::ssl::context> tls;
  if (!options.certificate.empty()) tls = TlsOf(options);
  asio::io_context io(options.threads);
  const Listener listener(io, options.port, tls ? &*tls : nullptr);
  asio::signal_set signals(io, SIGTERM, SIGINT);
  signals.async_wait([&io](error_code, int) { io.stop(); });
  std::printf("listening on http%s://127.0.0.1:%u\n", tls ? "s" : "",
              static_cast<unsigned>(listener.Port()));
  std::fflush(stdout);
  std::vector<std::thread> threads;
  for (int i = 1; i < options.threads; ++i) threads.emplace_back([&io] { io.run(); });
  io.run();
  for (std::thread& thread : threads) thread.join();
}

}  // namespace fleet
