// SPDX-License-Identifier: Apache-2.0
// Requests over connections: TLS or plain, kept or one for each request.
#include "Link.h"

#include <netinet/in.h>

#include <cstddef>
#include <optional>
#include <type_traits>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>

namespace fleet {

namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;

using asio::ip::tcp;
using boost::system::error_code;
using Tls = asio::ssl::stream<tcp::socket>;

std::string TextOf(boost::beast::string_view text) { return {text.data(), text.size()}; }

template <class Stream>
class LinkOn final : public Link, public std::enable_shared_from_this<LinkOn<Stream>> {
 public:
  LinkOn(asio::io_context& io, const Way& way) : m_io(io), m_way(way) {}

  void Exchange(std::string request, const asio::ip::address& from, Done done) override {
    m_request = std::move(request);
    m_done = std::move(done);
    if (m_stream) return Send();
    Connect(from);
  }

 private:
  static constexpr bool kEncrypted = std::is_same_v<Stream, Tls>;

  tcp::socket& Socket() {
    if constexpr (kEncrypted) {
      return m_stream->next_layer();
    } else {
      return *m_stream;
    }
  }

  // A completion handler that goes on with the next step.
  template <typename Next>
  auto Then(Next next) {
    return [self = this->shared_from_this(), next](error_code error, std::size_t = 0) {
      if (error) return self->Fail(error);
      next();
    };
  }

  void Connect(const asio::ip::address& from) {
    if constexpr (kEncrypted) {
      m_stream = std::make_shared<Stream>(m_io, *m_way.tls);
    } else {
      m_stream = std::make_shared<Stream>(m_io);
    }
    m_buffer.clear();
    error_code error;
    Socket().open(tcp::v4(), error);
    // The port is chosen when both addresses are known, so that each pair of them has all ports.
    using LatePort = asio::detail::socket_option::boolean<IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT>;
    if (!error) Socket().set_option(LatePort(true), error);
    if (!error) Socket().bind({from, 0}, error);
    if (error)
      return asio::post(m_io, [self = this->shared_from_this(), error] { self->Fail(error); });
    Socket().async_connect(m_way.service, Then([this] { Greet(); }));
  }

  void Greet() {
    error_code ignored;
    Socket().set_option(tcp::no_delay(true), ignored);
    if constexpr (kEncrypted) {
      m_stream->async_handshake(asio::ssl::stream_base::client, Then([this] { Send(); }));
    } else {
      Send();
    }
  }

  void Send() {
    asio::async_write(*m_stream, asio::buffer(m_request), Then([this] { Receive(); }));
  }

  void Receive() {
    m_parser.emplace();
    m_parser->body_limit(64 * 1024 * 1024);
    http::async_read(*m_stream, m_buffer, *m_parser, Then([this] { Finish(); }));
  }

  void Finish() {
    auto& message = m_parser->get();
    Answer answer;
    answer.status = message.result_int();
    answer.location = TextOf(message[http::field::location]);
    answer.token = TextOf(message["X-Auth-Token"]);
    answer.body = std::move(message.body());
    if (!m_way.keep || !message.keep_alive()) Close();
    std::exchange(m_done, nullptr)(error_code(), answer);
  }

  void Fail(const error_code& error) {
    m_stream.reset();
    std::exchange(m_done, nullptr)(error, Answer());
  }

  // The next request does not wait for the end of this connection.
  void Close() {
    const std::shared_ptr<Stream> ending = std::exchange(m_stream, nullptr);
    if constexpr (kEncrypted) ending->async_shutdown([ending](const error_code&) {});
  }

  asio::io_context& m_io;
  const Way m_way;
  std::shared_ptr<Stream> m_stream;
  boost::beast::flat_buffer m_buffer;
  std::optional<http::response_parser<http::string_body>> m_parser;
  std::string m_request;
  Done m_done;
};

}  // namespace

std::shared_ptr<Link> MakeLink(asio::io_context& io, const Way& way) {
  if (way.tls != nullptr) return std::make_shared<LinkOn<Tls>>(io, way);
  return std::make_shared<LinkOn<tcp::socket>>(io, way);
}

}  // namespace fleet
