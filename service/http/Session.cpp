// SPDX-License-Identifier: Apache-2.0
// One connection: reading requests and writing answers, each step within its time limit.
#include "service/http/Session.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <boost/asio/buffer.hpp>
#include <boost/asio/dispatch.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/error.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/ssl/ssl_stream.hpp>

#include "service/http/Answer.h"
#include "service/http/Stream.h"
#include "service/http/Target.h"
#include "service/http/TimedSocket.h"

namespace cloudservice {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;

using boost::system::error_code;
using Plain = TimedSocket;
using Tls = beast::ssl_stream<TimedSocket>;

constexpr std::size_t kReadSize = 4096;
// Bytes of a body at most that are sent in one piece with the header.
constexpr std::size_t kSmallBody = 16 * 1024;
// Size of the buffer of unparsed bytes, as a multiple of the largest header: a chunk's extensions
// and trailers wait in it until they are complete.
constexpr std::size_t kBufferedHeaders = 2;
// Bytes that are read and dropped at most before a connection is closed.
constexpr std::size_t kFarewellBytes = 64 * 1024;
constexpr char kContinue[] = "HTTP/1.1 100 Continue\r\n\r\n";

std::string ToString(beast::string_view text) { return std::string(text.data(), text.size()); }

template <class Message>
std::vector<std::pair<std::string, std::string>> HeadersOf(const Message& message) {
  std::vector<std::pair<std::string, std::string>> headers;
  for (const auto& field : message) {
    headers.emplace_back(ToString(field.name_string()), ToString(field.value()));
  }
  return headers;
}

// Whether the body has no transfer encoding, or "chunked" alone.
template <class Message>
bool IsPlainBody(const Message& message) {
  const auto encodings = message.count(http::field::transfer_encoding);
  return encodings == 0 ||
         (encodings == 1 && beast::iequals(message[http::field::transfer_encoding], "chunked"));
}

// Whether the message has exactly one Host header; HTTP/1.0 needs none.
template <class Message>
bool NamesHostOnce(const Message& message) {
  const auto hosts = message.count(http::field::host);
  return hosts == 1 || (hosts == 0 && message.version() < 11);
}

// The status and the reason for a request that the parser refuses; status 0 when the connection has
// ended without a fault.
std::pair<unsigned, std::string> ReadFailure(const error_code& error) {
  if (error == http::error::header_limit) return {431, "The header is too large."};
  if (error == http::error::body_limit) return {413, "The body is too large."};
  if (error == http::error::bad_version) return {505, "Not a version of HTTP that is spoken here."};
  if (error == http::error::buffer_overflow) {
    return {400, "A chunk's extensions or the trailers are too large."};
  }
  if (error == http::error::partial_message) {
    return {400, "The request ended before its declared end."};
  }
  if (error == http::error::end_of_stream) return {0, ""};
  if (error.category() == make_error_code(http::error::bad_value).category()) {
    return {400, "Not HTTP: " + error.message() + "."};
  }
  return {0, ""};
}

template <class Stream>
class SessionOn final : public Session, public std::enable_shared_from_this<SessionOn<Stream>> {
 public:
  template <typename... Args>
  SessionOn(const SessionContext& context, std::function<void(Session*)> ended, Args&&... args)
      : m_context(context),
        m_ended(std::move(ended)),
        m_stream(std::forward<Args>(args)...),
        m_buffer(kBufferedHeaders * context.limits.headerBytes),
        m_share(context.bodies) {
    error_code gone;
    const auto peer = Lowest().socket().remote_endpoint(gone);
    if (!gone) m_peer = peer.address().to_string();
  }

  ~SessionOn() override {
    if (m_out) m_out->Detach();
    m_ended(this);
  }

  void Start() override {
    asio::dispatch(m_stream.get_executor(), Kept([this] { Begin(); }));
  }

  void Stop() override {
    asio::dispatch(m_stream.get_executor(), Kept([this] {
                     m_stopping = true;
                     if (m_out || !m_answering) Lowest().close();
                   }));
  }

 private:
  // A function that keeps this connection alive.
  template <typename Function>
  auto Kept(Function function) {
    return
        [self = this->shared_from_this(), function = std::move(function)]() mutable { function(); };
  }

  void Begin() {
    if constexpr (std::is_same_v<Stream, Tls>) {
      Expire(m_context.limits.header);
      m_stream.async_handshake(asio::ssl::stream_base::server,
                               Then([this](error_code error) { OnHandshake(error); }));
    } else {
      WaitForRequest();
    }
  }

  // A completion handler that keeps this connection alive. It drops the count of bytes that some
  // operations give.
  template <typename Function>
  auto Then(Function function) {
    return [self = this->shared_from_this(), function](error_code error, std::size_t = 0) {
      function(error);
    };
  }

  TimedSocket& Lowest() { return beast::get_lowest_layer(m_stream); }

  void Expire(std::chrono::milliseconds time) { Lowest().expires_after(time); }

  void OnHandshake(error_code error) {
    if (!error) return WaitForRequest();
    const bool left = error == asio::error::eof || error == asio::error::connection_reset ||
                      error == asio::ssl::error::stream_truncated;
    if (m_stopping || left) return;
    m_context.log->Line("connection refused: no TLS: " + error.message());
  }

  void WaitForRequest() {
    m_answering = false;
    m_share.Reset();
    if (m_stopping) return CloseGently();
    if (m_buffer.size() > 0) return ReadHeader();
    // What a large request took is not kept for the next one.
    if (m_buffer.capacity() > kReadSize) m_buffer.shrink_to_fit();
    Expire(m_context.limits.idle);
    m_stream.async_read_some(m_buffer.prepare(kReadSize),
                             [self = this->shared_from_this()](error_code error, std::size_t size) {
                               self->m_buffer.commit(size);
                               if (error) return self->OnReadFailure(http::error::end_of_stream);
                               self->ReadHeader();
                             });
  }

  void ReadHeader() {
    m_parser.emplace();
    m_parser->header_limit(static_cast<std::uint32_t>(m_context.limits.headerBytes));
    m_parser->body_limit(m_context.limits.bodyBytes);
    const error_code wrong = ParseBuffered();
    if (wrong || m_parser->is_header_done()) return OnHeader(wrong);
    Expire(m_context.limits.header);
    http::async_read_header(m_stream, m_buffer, *m_parser,
                            Then([this](error_code error) { OnHeader(error); }));
  }

  // Parses what has come already: a small request is here as a whole, and needs no operation for
  // its header and its body. A missing rest is no error.
  error_code ParseBuffered() {
    error_code error;
    if (m_buffer.size() > 0) m_buffer.consume(m_parser->put(m_buffer.data(), error));
    return error == http::error::need_more ? error_code() : error;
  }

  void OnHeader(error_code error) {
    TakeHeader();
    if (error) return OnReadFailure(error);
    const auto& message = m_parser->get();
    if (!NamesHostOnce(message)) {
      return Refuse(400, "A request names its host once, in a Host header.");
    }
    if (!IsPlainBody(message)) {
      return Refuse(501, "Of the transfer encodings only chunked is spoken here.");
    }
    if (m_parser->is_done()) return ReadBody();
    const beast::string_view expect = message[http::field::expect];
    if (!expect.empty() && !beast::iequals(expect, "100-continue")) {
      return Refuse(417, "Of the expectations only 100-continue is met here.");
    }
    if (IsBodyHere()) return ReadBody();
    Admit();
  }

  // Called before the body is read, so that trailers, which follow the body, are not taken for
  // headers.
  void TakeHeader() {
    const auto& message = m_parser->get();
    m_request = Request{};
    m_request.target = WithoutAuthority(ToString(message.target()));
    if (!m_request.target.Text().empty()) m_request.method = ToString(message.method_string());
    m_request.token = ToString(message["X-Auth-Token"]);
    m_request.headers = HeadersOf(message);
    // Of a header that breaks off, the last line may be missing, which alone is the proxy's.
    m_request.peer = m_parser->is_header_done()
                         ? m_context.proxies.SenderOf(m_peer, m_request.Header("X-Forwarded-For"))
                         : m_peer;
    m_keepAlive = message.version() >= 11 && message.keep_alive();
  }

  // Whether the whole body came together with the header.
  bool IsBodyHere() const {
    const auto length = m_parser->content_length();
    return length && *length <= m_buffer.size();
  }

  // A body that is still to come is read only when its sender may send it.
  void Admit() {
    if (!m_context.admit) return AskForBody();
    m_answering = true;
    Lowest().expires_never();
    m_context.admit(std::make_shared<const Request>(m_request),
                    [self = this->shared_from_this()](std::optional<Response> refusal) {
                      self->OnAdmission(std::move(refusal));
                    });
  }

  // Any thread.
  void OnAdmission(std::optional<Response> refusal) {
    asio::post(m_stream.get_executor(), Kept([this, refusal = std::move(refusal)]() mutable {
                 if (refusal) return Answer(*std::move(refusal), false, m_request.method == "HEAD");
                 m_answering = false;
                 if (m_stopping) return CloseGently();
                 AskForBody();
               }));
  }

  void AskForBody() {
    const auto length = m_parser->content_length();
    if (!m_share.Take(length ? *length : m_context.limits.bodyBytes)) {
      Response response = m_context.refuse(503, m_request, "No room for the body just now.");
      response.SetHeader("Retry-After", std::to_string(kRetrySeconds));
      return Answer(std::move(response), false, m_request.method == "HEAD");
    }
    if (m_parser->get()[http::field::expect].empty()) return ReadBody();
    Expire(m_context.limits.header);
    asio::async_write(m_stream, asio::buffer(kContinue, sizeof kContinue - 1),
                      Then([this](error_code failed) {
                        if (!failed) ReadBody();
                      }));
  }

  void ReadBody() {
    m_parser->eager(true);
    const error_code wrong = m_parser->is_done() ? error_code() : ParseBuffered();
    if (wrong) return OnReadFailure(wrong);
    if (m_parser->is_done()) return OnRequest();
    Expire(m_context.limits.body);
    http::async_read(m_stream, m_buffer, *m_parser, Then([this](error_code error) {
                       if (error) return OnReadFailure(error);
                       OnRequest();
                     }));
  }

  void OnRequest() {
    m_request.body = std::move(m_parser->get().body());
    m_request.arrived = std::chrono::steady_clock::now();
    m_answering = true;
    Lowest().expires_never();
    const bool head = m_request.method == "HEAD";
    auto request = std::make_shared<const Request>(std::move(m_request));
    m_context.take(std::move(request), [self = this->shared_from_this(), head](Response response) {
      self->OnResponse(std::move(response), head);
    });
  }

  // Any thread.
  void OnResponse(Response response, bool head) {
    asio::dispatch(m_stream.get_executor(),
                   Kept([this, head, response = std::move(response)]() mutable {
                     if (response.stream && !m_stopping) return AnswerWithStream(response);
                     Answer(std::move(response), m_keepAlive, head);
                   }));
  }

  void OnReadFailure(error_code error) {
    if (m_stopping) return;
    if (error == beast::error::timeout) {
      m_context.log->Line("connection closed: its request took too long");
      return;
    }
    const auto [status, reason] = ReadFailure(error);
    if (status == 0) return CloseGently();
    Refuse(status, reason);
  }

  // Refuses a request that was not read to its end. The connection closes afterwards, since the
  // rest of the request may still come.
  void Refuse(unsigned status, const std::string& reason) {
    Answer(m_context.refuse(status, m_request, reason), false, m_request.method == "HEAD");
  }

  // A small body goes with its header, a larger one is sent from where it is: it is not copied.
  void Answer(Response response, bool keepAlive, bool head) {
    m_answering = true;
    const bool keep = keepAlive && !m_stopping;
    m_answer = AnswerHeader(response, m_context.clock(), keep);
    m_response.emplace(std::move(response));
    std::string_view body = head ? std::string_view() : AnswerBody(*m_response);
    if (body.size() <= kSmallBody) m_answer += std::exchange(body, {});
    Expire(m_context.limits.body);
    asio::async_write(m_stream, asio::buffer(m_answer), Then([this, body, keep](error_code error) {
                        if (error || body.empty()) return OnAnswer(error, keep);
                        SendBody(body, keep);
                      }));
  }

  void SendBody(std::string_view body, bool keep) {
    asio::async_write(m_stream, asio::buffer(body),
                      Then([this, keep](error_code error) { OnAnswer(error, keep); }));
  }

  void OnAnswer(error_code error, bool keep) {
    // A connection that waits for its next request keeps nothing of the last answer.
    std::string().swap(m_answer);
    m_response.reset();
    if (error) return;
    if (keep) return WaitForRequest();
    CloseGently();
  }

  void AnswerWithStream(const Response& response) {
    m_answering = true;
    m_out = response.stream;
    m_answer = AnswerHeader(response, m_context.clock(), false);
    Expire(m_context.limits.body);
    asio::async_write(m_stream, asio::buffer(m_answer), Then([this](error_code error) {
                        if (error) return;
                        m_out->Attach([weak = this->weak_from_this()] { Wake(weak); });
                        WatchReader();
                        SendMore();
                      }));
  }

  // Any thread.
  static void Wake(const std::weak_ptr<SessionOn>& weak) {
    const auto self = weak.lock();
    if (!self) return;
    asio::post(self->m_stream.get_executor(), [self] { self->SendMore(); });
  }

  // Sends what waits in the stream, one piece at a time; each piece has the time limit of an
  // answer.
  void SendMore() {
    if (m_out->Ended()) return Lowest().close();
    if (m_sending) return;
    m_answer = m_out->Take();
    if (m_answer.empty()) return;
    m_sending = true;
    Expire(m_context.limits.body);
    asio::async_write(m_stream, asio::buffer(m_answer), Then([this](error_code error) {
                        m_sending = false;
                        if (!error) SendMore();
                      }));
  }

  // The reader of a stream sends nothing that counts. The pending read fails when the reader goes,
  // which is how its going is noticed.
  void WatchReader() {
    Lowest().expires_never();
    m_stream.async_read_some(asio::buffer(m_rest), Then([this](error_code error) {
                               if (error) return Lowest().close();
                               WatchReader();
                             }));
  }

  void CloseGently() {
    m_answering = true;
    m_share.Reset();
    Expire(m_context.limits.farewell);
    if constexpr (std::is_same_v<Stream, Tls>) {
      m_stream.async_shutdown(Then([this](error_code) { ShutDown(); }));
    } else {
      ShutDown();
    }
  }

  // Closing a socket with unread bytes in it could destroy the answer before the other side has
  // read it. What still comes is read and dropped until the other side closes too.
  void ShutDown() {
    error_code ignored;
    Lowest().socket().shutdown(asio::ip::tcp::socket::shutdown_send, ignored);
    Drain();
  }

  void Drain() {
    Lowest().async_read_some(asio::buffer(m_rest),
                             [self = this->shared_from_this()](error_code error, std::size_t size) {
                               self->m_drained += size;
                               if (error || self->m_drained > kFarewellBytes) return;
                               self->Drain();
                             });
  }

  const SessionContext& m_context;
  const std::function<void(Session*)> m_ended;
  Stream m_stream;
  std::string m_peer = "a connection that is gone";
  beast::flat_buffer m_buffer;
  Share m_share;  // of the bytes of bodies
  std::optional<http::request_parser<http::string_body>> m_parser;
  Request m_request;
  bool m_keepAlive = false;  // the request's sender wants to keep the connection
  std::string m_answer;      // the header of an answer, or a piece of a stream, that is being sent
  std::optional<Response> m_response;  // whose body is being sent
  std::shared_ptr<cloudservice::Stream>
      m_out;               // the stream that is being sent, if the answer is one
  bool m_sending = false;  // a piece of the stream is being sent
  std::array<char, kReadSize> m_rest;
  std::size_t m_drained = 0;
  bool m_answering = false;  // also while the connection closes: the answer may not have arrived
  bool m_stopping = false;
};

}  // namespace

std::shared_ptr<Session> MakeSession(asio::ip::tcp::socket socket, asio::ssl::context* tls,
                                     const SessionContext& context,
                                     std::function<void(Session*)> ended) {
  TimedSocket timed(std::move(socket), context.steady);
  if (tls != nullptr) {
    return std::make_shared<SessionOn<Tls>>(context, std::move(ended), std::move(timed), *tls);
  }
  return std::make_shared<SessionOn<Plain>>(context, std::move(ended), std::move(timed));
}

}  // namespace cloudservice
