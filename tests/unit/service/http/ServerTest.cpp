// SPDX-License-Identifier: Apache-2.0
#include "ServerTest.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace cloudservice {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

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
  Peer inHeader(port);
  inHeader.Send("POST /slow HTTP/1.1\r\nHost: x\r\nMo");
  Peer inBody(port);
  inBody.Send(Post("a", "3"));
  Peer silent(port);
  for (int i = 0; i < 20; ++i) {
    Peer quick(port);
    quick.Send(Get("/quick"));
    ASSERT_THAT(quick.ReadAnswer(), EndsWith("GET /quick [] "));
    inHeader.Send("s");
  }
  inHeader.Send("t: x\r\nContent-Length: 1\r\n\r\nz");
  EXPECT_THAT(inHeader.ReadAnswer(), EndsWith("POST /slow [] z"));
  inBody.Send("b");
  inBody.Send("c");
  EXPECT_THAT(inBody.ReadAnswer(), EndsWith("POST /p [] abc"));
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
  limits.bodyBytes = 100000;
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

TEST_F(ServerTest, Stop_ends_connections_that_wait_for_more) {
  Start();
  Peer idle(port);
  Peer inHeader(port);
  inHeader.Send("GET / HT");
  Peer inBody(port);
  inBody.Send(Get("/") + Post("a", "3"));
  inBody.ReadAnswer();
  // The answer is there; now the server has seen that too and waits for the rest of the body.
  OnServer([] {});
  Stop();
  EXPECT_EQ(server->Counts().open, 0u);
  EXPECT_EQ(idle.ReadAll(), "");
  EXPECT_EQ(inHeader.ReadAll(), "");
  EXPECT_EQ(inBody.ReadAll(), "");
  EXPECT_THROW(Peer{port}, std::runtime_error);
}

TEST_F(ServerTest, Stop_sends_an_answer_to_its_end) {
  Start();
  Peer peer(port);
  peer.Send(Get("/big") + Get("/not-read-any-more"));
  // The answer has begun, and is larger than what a connection holds on its way.
  std::string answer = peer.ReadSome();
  OnServer([this] { server->Stop([] {}); });
  answer += peer.ReadAll();
  EXPECT_EQ(answer.size() - answer.find("\r\n\r\n") - 4, kBig);
  EXPECT_EQ(answer.back(), 'b');
}

TEST_F(ServerTest, Address_that_is_taken_is_named) {
  Start();
  boost::asio::io_context own(1);
  Server second(own, nullptr, SessionContext{});
  try {
    second.Listen("127.0.0.1", port);
    ADD_FAILURE() << "listens twice";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("cannot listen on 127.0.0.1, port " + std::to_string(port) +
                                        ": Address already in use"));
  }
}

TEST_F(ServerTest, Url_puts_ipv6_in_brackets) {
  Server other(io, nullptr, SessionContext{});
  other.Listen("::1", 0);
  EXPECT_THAT(other.Url(), StartsWith("http://[::1]:"));
}

}  // namespace
}  // namespace cloudservice
