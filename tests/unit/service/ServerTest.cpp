#include <future>
#include <mutex>
#include <thread>

#include <boost/asio/connect.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/ssl/stream.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Peer.h"
#include "TempFolder.h"
#include "service/http/Server.h"
#include "service/http/Stream.h"
#include "service/http/Tls.h"

namespace cloudservice {
namespace {

namespace asio = boost::asio;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// A server in a thread of its own, whose handler answers with what it was asked.
class ServerTest : public testing::Test {
 protected:
  ~ServerTest() override {
    if (m_thread.joinable()) Stop();
  }

  void Start(asio::ssl::context* tls = nullptr) {
    SessionContext context;
    context.limits = limits;
    context.handler = [this](const Request& request) {
      Response response;
      response.status = request.target == "/gone" ? 204 : 201;
      response.headers = {{"Location", "/x"}, {"X-Auth-Token", "t"}};
      response.body =
          request.method + " " + request.target + " [" + request.token + "] " +
          (request.body.size() < 100 ? request.body : std::to_string(request.body.size()));
      if (request.target == "/unchanged") response.status = 304;
      if (request.target == "/headers") {
        response.body = request.Header("if-match") + "|" + request.Header("none");
        response.SetHeader("Cache-Control", "no-cache");
      }
      if (request.target == "/big") response.body = std::string(kBig, 'b');
      if (request.target == "/throw") throw std::runtime_error("no memory");
      if (request.target == "/stream") {
        response.stream = written;
        response.body.clear();
      }
      return response;
    };
    context.refuse = [this](unsigned status, const Request& request, const std::string& reason) {
      log.Line(request.method + " " + request.target + " " + reason);
      Response response;
      response.status = status;
      response.body = reason;
      return response;
    };
    context.clock = [] { return time_t{1772716029}; };
    context.log = &log;
    m_server = std::make_unique<Server>(m_io, tls, context);
    m_server->Listen("127.0.0.1", 0);
    const std::string url = m_server->Url();
    port = static_cast<std::uint16_t>(std::stoul(url.substr(url.rfind(':') + 1)));
    m_thread = std::thread([this] { RunLoop(m_io, log); });
  }

  // Returns when the server has ended every connection. May come after another stop.
  void Stop() {
    asio::post(m_io, [this] { m_server->Stop([] {}); });
    m_thread.join();
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

  static constexpr std::size_t kBig = 32 * 1024 * 1024;

  Limits limits;
  std::uint16_t port = 0;

 private:
  std::mutex m_mutex;
  std::string m_lines;

 protected:
  Log log{[this](const std::string& line) {
            const std::lock_guard<std::mutex> guard(m_mutex);
            m_lines += line + "\n";
          },
          [] { return time_t{1772716029}; }};
  // Calls the function on the server's thread and waits for its end.
  void OnServer(const std::function<void()>& function) {
    std::promise<void> done;
    asio::post(m_io, [&] {
      function();
      done.set_value();
    });
    done.get_future().wait();
  }

  std::shared_ptr<Stream> written = std::make_shared<Stream>(1024 * 1024);
  asio::io_context m_io{1};
  std::unique_ptr<Server> m_server;

 private:
  std::thread m_thread;
};

TEST_F(ServerTest, Answer_has_exactly_these_bytes) {
  Start();
  Peer peer(port);
  peer.Send(
      "POST /a?b HTTP/1.1\r\nhost: anything\r\nx-auth-token: \t tok \r\n"
      "content-length: 2\r\n\r\n{}");
  EXPECT_EQ(peer.ReadAnswer(),
            "HTTP/1.1 201 Created\r\n"
            "Date: Thu, 05 Mar 2026 13:07:09 GMT\r\n"
            "Server: cloudservice\r\n"
            "Cache-Control: no-store\r\n"
            "Location: /x\r\n"
            "X-Auth-Token: t\r\n"
            "Content-Type: application/json; charset=utf-8\r\n"
            "Content-Length: 18\r\n"
            "\r\n"
            "POST /a?b [tok] {}");
}

TEST_F(ServerTest, Answer_without_content_has_neither_length_nor_body) {
  Start();
  const std::string answer = Exchange(Get("/gone"));
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 204 No Content\r\n"));
  EXPECT_THAT(answer, Not(HasSubstr("Content-")));
  EXPECT_THAT(answer, EndsWith("\r\n\r\n"));
}

TEST_F(ServerTest, Answer_that_nothing_has_changed_has_neither_length_nor_body) {
  Start();
  const std::string answer = Exchange(Get("/unchanged"));
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 304 Not Modified\r\n"));
  EXPECT_THAT(answer, Not(HasSubstr("Content-")));
  EXPECT_THAT(answer, EndsWith("\r\n\r\n"));
}

TEST_F(ServerTest, Headers_reach_the_handler_whatever_their_case_of_letters) {
  Start();
  const std::string answer =
      Exchange("GET /headers HTTP/1.1\r\nHost: x\r\nif-MATCH: \"a\"\r\nIf-Match: \"b\"\r\n\r\n");
  EXPECT_THAT(answer, EndsWith("\r\n\r\n\"a\", \"b\"|"));
}

TEST_F(ServerTest, What_an_answer_says_about_caching_holds) {
  Start();
  const std::string answer = Exchange(Get("/headers"));
  EXPECT_THAT(answer, HasSubstr("Cache-Control: no-cache\r\n"));
  EXPECT_THAT(answer, Not(HasSubstr("no-store")));
}

TEST_F(ServerTest, Head_keeps_the_length_and_leaves_the_body_out) {
  Start();
  Peer peer(port);
  peer.Send("HEAD /a HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  const std::string answer = peer.ReadAll();
  EXPECT_THAT(answer, HasSubstr("Content-Length: 11\r\n"));
  EXPECT_THAT(answer, EndsWith("\r\n\r\n"));
}

TEST_F(ServerTest, Pipelined_requests_are_answered_in_order) {
  Start();
  Peer peer(port);
  peer.Send(Get("/1") + Post("abc", "3") + Get("/3"));
  EXPECT_THAT(peer.ReadAnswer(), EndsWith("GET /1 [] "));
  EXPECT_THAT(peer.ReadAnswer(), EndsWith("POST /p [] abc"));
  EXPECT_THAT(peer.ReadAnswer(), EndsWith("GET /3 [] "));
}

TEST_F(ServerTest, Connection_is_closed_where_the_sender_wants_it) {
  Start();
  Peer peer(port);
  peer.Send("GET /1 HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
  EXPECT_THAT(peer.ReadAll(), HasSubstr("Connection: close\r\n"));
  Peer old(port);
  old.Send("GET /1 HTTP/1.0\r\nConnection: keep-alive\r\n\r\n");
  EXPECT_THAT(old.ReadAll(), HasSubstr("Connection: close\r\n"));
}

TEST_F(ServerTest, Slow_senders_hold_up_nobody) {
  Start();
  Peer in_header(port);
  in_header.Send("POST /slow HTTP/1.1\r\nHost: x\r\nMo");
  Peer in_body(port);
  in_body.Send(Post("a", "3"));
  Peer silent(port);
  for (int i = 0; i < 20; ++i) {
    Peer quick(port);
    quick.Send(Get("/quick"));
    ASSERT_THAT(quick.ReadAnswer(), EndsWith("GET /quick [] "));
    in_header.Send("s");
  }
  in_header.Send("t: x\r\nContent-Length: 1\r\n\r\nz");
  EXPECT_THAT(in_header.ReadAnswer(), EndsWith("POST /slow [] z"));
  in_body.Send("b");
  in_body.Send("c");
  EXPECT_THAT(in_body.ReadAnswer(), EndsWith("POST /p [] abc"));
}

TEST_F(ServerTest, Two_hundred_idle_connections_hold_up_nobody) {
  Start();
  std::vector<std::unique_ptr<Peer>> idle;
  for (int i = 0; i < 200; ++i) idle.push_back(std::make_unique<Peer>(port));
  Peer quick(port);
  quick.Send(Get("/quick"));
  EXPECT_THAT(quick.ReadAnswer(), EndsWith("GET /quick [] "));
}

TEST_F(ServerTest, Header_above_the_limit_is_431) {
  Start();
  const std::string flood = "GET / HTTP/1.1\r\nA: " + std::string(20000, 'a') + "\r\n\r\n";
  EXPECT_THAT(Exchange(flood), StartsWith("HTTP/1.1 431 "));
  std::string many = "GET / HTTP/1.1\r\n";
  for (int i = 0; i < 5000; ++i) many += "A: b\r\n";
  EXPECT_THAT(Exchange(many + "\r\n"), StartsWith("HTTP/1.1 431 "));
}

TEST_F(ServerTest, Body_above_the_limit_is_413_and_its_sender_gets_to_read_it) {
  limits.body_bytes = 100000;
  Start();
  EXPECT_THAT(Exchange(Post(std::string(100000, 'a'), "100000")), EndsWith("100000"));
  const std::string answer = Exchange(Post(std::string(2000000, 'a'), "2000000"));
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 413 "));
  EXPECT_THAT(answer, HasSubstr("Connection: close\r\n"));
  EXPECT_THAT(Lines(), HasSubstr("POST /p The body is too large."));
  const std::string chunk = "186a1\r\n" + std::string(100001, 'a') + "\r\n0\r\n\r\n";
  EXPECT_THAT(Exchange(Chunked(chunk)), StartsWith("HTTP/1.1 413 "));
}

TEST_F(ServerTest, Wrong_length_is_400) {
  Start();
  EXPECT_THAT(Exchange(Post("abc", "many")), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(Exchange(Post("abc", "-3")), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(Exchange(Post("abc", "3\r\nContent-Length: 4")), StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(Exchange(Post("abc", "3\r\nTransfer-Encoding: chunked")),
              StartsWith("HTTP/1.1 400 "));
  EXPECT_THAT(Exchange(Post("abc", "10")), EndsWith("The request ended before its declared end."));
}

TEST_F(ServerTest, Bytes_after_the_declared_end_are_another_request) {
  Start();
  Peer peer(port);
  peer.Send(Post("abc}", "3"));
  peer.EndSending();
  EXPECT_THAT(peer.ReadAnswer(), EndsWith("POST /p [] abc"));
  EXPECT_THAT(peer.ReadAll(), StartsWith("HTTP/1.1 400 "));
}

TEST_F(ServerTest, What_is_not_http_is_400) {
  using namespace std::string_literals;
  Start();
  for (const std::string& bytes :
       {"hello\r\n\r\n"s, "GET / HTTP/1.1\r\nno colon\r\n\r\n"s, "\r\n\r\n"s,
        "GET / HTTP/1.1\r\nA: b\0c\r\n\r\n"s, "GET  HTTP/1.1\r\n\r\n"s, "\x16\x03\x01\x02"s}) {
    EXPECT_THAT(Exchange(bytes), StartsWith("HTTP/1.1 400 Bad Request\r\n")) << bytes;
  }
  EXPECT_THAT(Exchange("GET / HTTP/2.0\r\n\r\n"), StartsWith("HTTP/1.1 505 "));
}

TEST_F(ServerTest, Chunked_bodies_are_read_and_other_encodings_are_not) {
  Start();
  const std::string head = "POST /p HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: ";
  EXPECT_THAT(Exchange(head + "chunked\r\n\r\n2\r\nab\r\n1\r\nc\r\n0\r\n\r\n"),
              EndsWith("POST /p [] abc"));
  EXPECT_THAT(Exchange(head + "chunked\r\n\r\nzz\r\n"), StartsWith("HTTP/1.1 400 "));
  for (const char* others :
       {"gzip", "gzip, chunked", "chunked, chunked", "gzip\r\nTransfer-Encoding: chunked"}) {
    const std::string answer = Exchange(head + others + "\r\n\r\n0\r\n\r\n");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 501 ")) << others;
  }
}

TEST_F(ServerTest, Chunked_in_any_case_of_letters_with_all_that_belongs_to_it_is_read) {
  limits.body_bytes = 1000000;
  Start();
  EXPECT_THAT(Exchange("POST /p HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: Chunked \r\n\r\n"
                       "1\r\na\r\n0\r\n\r\n"),
              EndsWith("POST /p [] a"));
  const std::string extended = "1;name=" + std::string(10000, 'e') + "\r\na\r\n";
  const std::string trailer = "T: " + std::string(10000, 't') + "\r\n";
  std::string body;
  for (int i = 0; i < 100; ++i) body += extended;
  body += "F41DC\r\n" + std::string(999900, 'b') + "\r\n0\r\n" + trailer + trailer + "\r\n";
  Peer peer(port);
  peer.Send(Chunked(body) + Get("/next"));
  EXPECT_THAT(peer.ReadAnswer(), EndsWith("POST /p [] 1000000"));
  EXPECT_THAT(peer.ReadAnswer(), EndsWith("GET /next [] "));
}

TEST_F(ServerTest, Trailer_that_is_too_large_is_400) {
  Start();
  const std::string last = "1\r\na\r\n0\r\n";
  std::string many;
  for (int i = 0; i < 20000; ++i) many += "T: t\r\n";
  for (const std::string& trailers :
       {"T: " + std::string(70000, 't') + "\r\n", std::string(70000, 'T') + ": t\r\n", many}) {
    const std::string answer = Exchange(Chunked(last + trailers + "\r\n"));
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 400 "));
    EXPECT_THAT(answer, EndsWith("A chunk's extensions or the trailers are too large."));
  }
}

TEST_F(ServerTest, Extensions_and_trailers_without_end_are_not_kept) {
  Start();
  for (const std::string& begin :
       {std::string("1;name="), std::string("0;"), std::string("0\r\nT: ")}) {
    EXPECT_THAT(Exchange(Chunked(begin + std::string(1000000, 'a'))), StartsWith("HTTP/1.1 400 "))
        << begin;
  }
}

TEST_F(ServerTest, Trailers_are_no_headers) {
  Start();
  const std::string head =
      "POST /headers HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n";
  EXPECT_THAT(Exchange(head + "If-Match: \"a\"\r\n\r\n"), EndsWith("\r\n\r\n|"));
  Peer peer(port);
  peer.Send(Chunked("0\r\nX-Auth-Token: tok\r\nConnection: close\r\n\r\n") + Get("/next"));
  EXPECT_THAT(peer.ReadAnswer(), EndsWith("POST /p [] "));
  EXPECT_THAT(peer.ReadAnswer(), EndsWith("GET /next [] "));
}

TEST_F(ServerTest, Host_is_named_once) {
  Start();
  const std::string head = "GET /1 HTTP/1.1\r\n";
  for (const char* hosts : {"", "Host: a\r\nHost: a\r\n", "Host: a\r\nX: y\r\nhost:\r\n"}) {
    const std::string answer = Exchange(head + hosts + "\r\n");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 400 ")) << hosts;
    EXPECT_THAT(answer, EndsWith("A request names its host once, in a Host header."));
  }
  EXPECT_THAT(Exchange(head + "Host:\r\n\r\n"), EndsWith("GET /1 [] "));
  EXPECT_THAT(Exchange("GET /1 HTTP/1.0\r\n\r\n"), EndsWith("GET /1 [] "));
  EXPECT_THAT(Exchange("GET /1 HTTP/1.0\r\nHost: a\r\nHost: b\r\n\r\n"),
              StartsWith("HTTP/1.1 400 "));
}

TEST_F(ServerTest, Exception_ends_its_connection_and_no_other) {
  Start();
  Peer other(port);
  other.Send(Get("/1"));
  other.ReadAnswer();
  EXPECT_EQ(Exchange(Get("/throw") + Get("/2")), "");
  OnServer([] {});
  EXPECT_THAT(Lines(), HasSubstr("error: a connection is given up: no memory\n"));
  other.Send(Get("/3"));
  EXPECT_THAT(other.ReadAnswer(), EndsWith("GET /3 [] "));
  EXPECT_THAT(Exchange(Get("/4")), EndsWith("GET /4 [] "));
}

TEST_F(ServerTest, Sender_that_waits_for_100_is_told_to_go_on) {
  Start();
  Peer peer(port);
  peer.Send("POST /p HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\nExpect: 100-continue\r\n\r\n");
  EXPECT_EQ(peer.ReadAnswer(), "HTTP/1.1 100 Continue\r\n\r\n");
  peer.Send("abc");
  EXPECT_THAT(peer.ReadAnswer(), EndsWith("POST /p [] abc"));
  EXPECT_THAT(
      Exchange("POST /p HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\nExpect: tea\r\n\r\nabc"),
      StartsWith("HTTP/1.1 417 "));
}

TEST_F(ServerTest, Idle_connection_is_closed) {
  limits.idle = std::chrono::milliseconds(1);
  Start();
  EXPECT_EQ(Peer(port).ReadAll(), "");
}

TEST_F(ServerTest, Header_and_body_have_to_come_in_time) {
  limits.header = limits.body = std::chrono::milliseconds(20);
  Start();
  Peer in_header(port);
  in_header.Send("GET / HT");
  EXPECT_EQ(in_header.ReadAll(), "");
  Peer in_body(port);
  in_body.Send(Post("a", "3"));
  EXPECT_EQ(in_body.ReadAll(), "");
  EXPECT_THAT(Lines(), HasSubstr("connection closed: its request took too long"));
}

TEST_F(ServerTest, Stop_ends_connections_that_wait_for_more) {
  Start();
  Peer idle(port);
  Peer in_header(port);
  in_header.Send("GET / HT");
  Peer in_body(port);
  in_body.Send(Get("/") + Post("a", "3"));
  in_body.ReadAnswer();
  // The answer is there; now the server has seen that too and waits for the rest of the body.
  std::promise<void> settled;
  asio::post(m_io, [&] { settled.set_value(); });
  settled.get_future().wait();
  Stop();
  EXPECT_EQ(m_server->Connections(), 0u);
  EXPECT_EQ(idle.ReadAll(), "");
  EXPECT_EQ(in_header.ReadAll(), "");
  EXPECT_EQ(in_body.ReadAll(), "");
  EXPECT_THROW(Peer{port}, std::runtime_error);
}

TEST_F(ServerTest, Stop_sends_an_answer_to_its_end) {
  Start();
  Peer peer(port);
  peer.Send(Get("/big") + Get("/not-read-any-more"));
  // The answer has begun, and is larger than what a connection holds on its way.
  std::string answer = peer.ReadSome();
  std::promise<void> told;
  asio::post(m_io, [&] {
    m_server->Stop([] {});
    told.set_value();
  });
  told.get_future().wait();
  answer += peer.ReadAll();
  EXPECT_EQ(answer.size() - answer.find("\r\n\r\n") - 4, kBig);
  EXPECT_EQ(answer.back(), 'b');
}

TEST_F(ServerTest, Stream_is_sent_as_it_is_written_and_ends_with_its_writer) {
  Start();
  Peer peer(port);
  peer.Send(Get("/stream"));
  const std::string head = peer.ReadAnswer();
  EXPECT_THAT(head, HasSubstr("Connection: close\r\n"));
  EXPECT_THAT(head, Not(HasSubstr("Content-Length")));
  for (const char* text : {"one", "two"}) {
    OnServer([&] { written->Write(text); });
    EXPECT_EQ(peer.ReadSome(), text);
  }
  OnServer([&] { written->End(); });
  EXPECT_EQ(peer.ReadAll(), "");
}

TEST_F(ServerTest, Stream_outlives_the_times_of_other_answers) {
  limits.idle = limits.header = limits.body = std::chrono::milliseconds(20);
  Start();
  Peer peer(port);
  peer.Send(Get("/stream"));
  peer.ReadAnswer();
  // Connections that came after it have been closed for idling meanwhile.
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Peer(port).ReadAll(), "");
  OnServer([&] { written->Write("still here"); });
  EXPECT_EQ(peer.ReadSome(), "still here");
}

TEST_F(ServerTest, Reader_who_takes_too_long_loses_the_stream) {
  limits.body = std::chrono::milliseconds(20);
  Start();
  Peer peer(port);
  peer.Send(Get("/stream"));
  peer.ReadAnswer();
  bool ended = false;
  const std::string text(1024 * 1024, 'x');
  while (!ended) {
    OnServer([&] {
      if (written->Take().empty()) written->Write(text);
      ended = written->Ended();
    });
  }
  EXPECT_LT(peer.ReadAll().size(), 100 * text.size());
}

TEST_F(ServerTest, Reader_who_leaves_ends_the_stream) {
  Start();
  {
    Peer peer(port);
    peer.Send(Get("/stream"));
    peer.ReadAnswer();
    EXPECT_FALSE(written->Ended());
  }
  bool ended = false;
  while (!ended) OnServer([&] { ended = written->Ended(); });
}

TEST_F(ServerTest, Stop_ends_streams_at_once) {
  Start();
  Peer idle(port);
  idle.Send(Get("/stream"));
  idle.ReadAnswer();
  Stop();
  EXPECT_EQ(m_server->Connections(), 0u);
  EXPECT_EQ(idle.ReadAll(), "");
  EXPECT_TRUE(written->Ended());
}

TEST_F(ServerTest, Address_that_is_taken_is_named) {
  Start();
  asio::io_context io(1);
  Server second(io, nullptr, SessionContext{});
  try {
    second.Listen("127.0.0.1", port);
    ADD_FAILURE() << "listens twice";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("cannot listen on 127.0.0.1, port " + std::to_string(port) +
                                        ": Address already in use"));
  }
}

TEST_F(ServerTest, Url_puts_ipv6_in_brackets) {
  Server server(m_io, nullptr, SessionContext{});
  server.Listen("::1", 0);
  EXPECT_THAT(server.Url(), StartsWith("http://[::1]:"));
}

class TlsServerTest : public ServerTest {
 protected:
  TlsServerTest() : m_tls(MakeContext()) { Start(&m_tls); }
  ~TlsServerTest() override { Stop(); }

  using Stream = asio::ssl::stream<asio::ip::tcp::socket>;

  // The cipher that a client gets who speaks TLS 1.2 and takes only these; empty when none.
  std::string CipherOf(const char* ciphers) {
    asio::ssl::context client(asio::ssl::context::tlsv12_client);
    SSL_CTX_set_cipher_list(client.native_handle(), ciphers);
    Stream stream(m_client_io, client);
    stream.lowest_layer().connect({asio::ip::make_address("127.0.0.1"), port});
    boost::system::error_code error;
    stream.handshake(asio::ssl::stream_base::client, error);
    return error ? "" : SSL_get_cipher_name(stream.native_handle());
  }

  std::unique_ptr<Stream> Connect() {
    auto stream = std::make_unique<Stream>(m_client_io, m_client);
    stream->lowest_layer().connect({asio::ip::make_address("127.0.0.1"), port});
    stream->handshake(asio::ssl::stream_base::client);
    return stream;
  }

 private:
  asio::ssl::context MakeContext() {
    bool made = false;
    return ServerContext(OwnCertificate(m_folder.File("s.db"), made));
  }

  TempFolder m_folder;
  asio::ssl::context m_tls;
  asio::io_context m_client_io;
  asio::ssl::context m_client{asio::ssl::context::tls_client};
};

TEST_F(TlsServerTest, Fresh_certificate_serves_and_the_end_is_announced) {
  EXPECT_THAT(m_server->Url(), StartsWith("https://127.0.0.1:"));
  const auto stream = Connect();
  asio::write(*stream,
              asio::buffer(Get("/1") + "GET /2 HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"));
  std::string answers;
  boost::system::error_code error;
  asio::read(*stream, asio::dynamic_buffer(answers), error);
  EXPECT_EQ(error, asio::error::eof);
  EXPECT_THAT(answers, HasSubstr("GET /1 [] HTTP/1.1 201"));
  EXPECT_THAT(answers, EndsWith("GET /2 [] "));
}

TEST_F(TlsServerTest, Refused_sender_gets_to_read_the_answer) {
  const auto stream = Connect();
  asio::write(*stream, asio::buffer(Post("", "99999999")));
  std::string answer;
  boost::system::error_code error;
  asio::read(*stream, asio::dynamic_buffer(answer), error);
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 413 "));
}

TEST_F(TlsServerTest, Handshakes_that_do_not_come_hold_up_nobody) {
  const Peer silent(port);
  const Peer halfway(port);
  halfway.Send("\x16\x03\x01");
  const auto stream = Connect();
  asio::write(*stream, asio::buffer(Get("/1")));
  char byte = 0;
  EXPECT_EQ(asio::read(*stream, asio::buffer(&byte, 1)), 1u);
}

TEST_F(TlsServerTest, Tls_1_2_has_forward_secrecy_and_authenticated_encryption) {
  for (const char* taken : {"ECDHE-ECDSA-AES128-GCM-SHA256", "ECDHE-ECDSA-CHACHA20-POLY1305"}) {
    EXPECT_EQ(CipherOf(taken), taken);
  }
  for (const char* refused : {"ECDHE-ECDSA-AES256-SHA384", "ECDHE-ECDSA-AES128-SHA",
                              "ECDHE-ECDSA-AES128-CCM", "AES128-GCM-SHA256"}) {
    EXPECT_EQ(CipherOf(refused), "") << refused;
  }
}

TEST_F(TlsServerTest, Plain_http_is_refused_and_said_in_the_log) {
  Peer peer(port);
  peer.Send(Get("/"));
  EXPECT_THAT(peer.ReadAll(), Not(HasSubstr("HTTP/1.1 2")));
  EXPECT_THAT(Lines(), HasSubstr("connection refused: no TLS: "));
}

}  // namespace
}  // namespace cloudservice
