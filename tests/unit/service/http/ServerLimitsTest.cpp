// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ServerTest.h"

namespace cloudservice {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::string PostTo(const std::string& target, std::size_t length) {
  return "POST " + target + " HTTP/1.1\r\nHost: x\r\nContent-Length: " + std::to_string(length) +
         "\r\n\r\n";
}

TEST_F(ServerTest, Body_that_its_sender_may_not_send_is_refused_before_it_comes) {
  Start();
  Peer peer(port);
  peer.Send(PostTo("/stranger", 1000000));
  EXPECT_THAT(peer.ReadAnswer(), AllOf(StartsWith("HTTP/1.1 401 "), HasSubstr("Connection: close"),
                                       EndsWith("Who is this?")));
  EXPECT_EQ(bodies->Taken(), 0U);
}

TEST_F(ServerTest, Sender_who_goes_on_sending_sees_the_refusal) {
  Start();
  Peer peer(port);
  peer.Send(PostTo("/stranger", 40000));
  peer.Send(std::string(40000, 'x'));
  peer.EndSending();
  EXPECT_THAT(peer.ReadAll(), EndsWith("Who is this?"));
}

TEST_F(ServerTest, What_a_refused_sender_sends_is_taken_no_further_than_64_KiB) {
  Start();
  Peer peer(port);
  peer.Send(PostTo("/stranger", 1024 * 1024 * 1024));
  peer.ReadAnswer();
  // Sending ends with an error once the server has closed.
  while (peer.SendSome(std::string(64 * 1024, 'x'))) {
  }
  OnServer([&] { EXPECT_EQ(server->Counts().open, 0U); });
}

TEST_F(ServerTest, Expecting_sender_is_told_to_go_on_only_when_the_body_may_come) {
  Start();
  const std::string expecting =
      " HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\nExpect: 100-continue\r\n\r\n";
  Peer stranger(port);
  stranger.Send("POST /stranger" + expecting);
  EXPECT_THAT(stranger.ReadAnswer(), StartsWith("HTTP/1.1 401 "));
  Peer peer(port);
  peer.Send("POST /p" + expecting);
  EXPECT_THAT(peer.ReadAnswer(), StartsWith("HTTP/1.1 100 "));
  peer.Send("abc");
  EXPECT_THAT(peer.ReadAnswer(), AllOf(StartsWith("HTTP/1.1 201 "), EndsWith("abc")));
}

TEST_F(ServerTest, Body_that_came_with_its_header_is_looked_at_together_with_it) {
  Start();
  Peer peer(port);
  peer.Send(PostTo("/stranger", 3) + "abc");
  EXPECT_THAT(peer.ReadAnswer(), StartsWith("HTTP/1.1 201 "));
}

TEST_F(ServerTest, Bodies_share_their_room) {
  bodies = std::make_shared<Budget>(100);
  Start();
  Peer first(port);
  first.Send(PostTo("/p", 60));
  while (bodies->Taken() == 0) {
  }
  EXPECT_EQ(bodies->Taken(), 60U);
  Peer second(port);
  second.Send(PostTo("/p", 60));
  EXPECT_THAT(second.ReadAnswer(),
              AllOf(StartsWith("HTTP/1.1 503 "), HasSubstr("Retry-After: 5\r\n"),
                    EndsWith("No room for the body just now.")));
  first.Send(std::string(60, 'x'));
  EXPECT_THAT(first.ReadAnswer(), StartsWith("HTTP/1.1 201 "));
  while (bodies->Taken() != 0) {
  }
  Peer third(port);
  third.Send(PostTo("/p", 60));
  while (bodies->Taken() == 0) {
  }
  third.Send(std::string(60, 'x'));
  EXPECT_THAT(third.ReadAnswer(), StartsWith("HTTP/1.1 201 "));
}

TEST_F(ServerTest, Chunked_body_takes_the_room_of_the_largest) {
  limits.bodyBytes = 1000;
  bodies = std::make_shared<Budget>(999);
  Start();
  Peer peer(port);
  peer.Send(Chunked(""));
  EXPECT_THAT(peer.ReadAnswer(), StartsWith("HTTP/1.1 503 "));
}

TEST_F(ServerTest, Connection_beyond_the_limit_is_closed_and_the_others_go_on) {
  connectionLimits = {2, 100};
  Start();
  Peer first(port);
  Peer second(port);
  first.Send(Get("/a"));
  first.ReadAnswer();
  second.Send(Get("/a"));
  second.ReadAnswer();
  EXPECT_EQ(Peer(port).ReadAll(), "");
  EXPECT_EQ(server->Counts().refused, 1U);
  EXPECT_EQ(server->Counts().refusedOfSender, 0U);
  first.Send(Get("/a"));
  EXPECT_THAT(first.ReadAnswer(), StartsWith("HTTP/1.1 201 "));
}

// The sender of a request with these lines in its header, as its handler knows it.
std::string SenderBehind(std::uint16_t port, const std::string& lines) {
  Peer peer(port);
  peer.Send("GET /peer HTTP/1.1\r\nHost: x\r\n" + lines + "\r\n");
  const std::string answer = peer.ReadAnswer();
  return answer.substr(answer.find("\r\n\r\n") + 4);
}

TEST_F(ServerTest, Sender_of_a_request_is_whom_a_trusted_proxy_names) {
  ASSERT_TRUE(proxies.Add("127.0.0.1"));
  Start();
  EXPECT_EQ(SenderBehind(port, "X-Forwarded-For: 192.0.2.9, 192.0.2.7\r\n"), "192.0.2.7");
  EXPECT_EQ(SenderBehind(port,
                         "x-forwarded-for: 192.0.2.9\r\nX: y\r\n"
                         "X-FORWARDED-FOR: 192.0.2.7, 127.0.0.1\r\n"),
            "192.0.2.7");
  EXPECT_EQ(SenderBehind(port, "X-Forwarded-For: 192.0.2.9\r\nX-Forwarded-For:\r\n"), "127.0.0.1");
  EXPECT_EQ(SenderBehind(port, ""), "127.0.0.1");
}

TEST_F(ServerTest, Each_request_of_a_proxys_connection_has_a_sender_of_its_own) {
  ASSERT_TRUE(proxies.Add("127.0.0.0/8"));
  Start();
  Peer peer(port);
  const std::string begin = "GET /peer HTTP/1.1\r\nHost: x\r\n";
  peer.Send(begin + "X-Forwarded-For: 192.0.2.1\r\n\r\n" + begin +
            "X-Forwarded-For: 192.0.2.2\r\n\r\n" + begin + "\r\n");
  EXPECT_THAT(peer.ReadAnswer(), EndsWith("\r\n192.0.2.1"));
  EXPECT_THAT(peer.ReadAnswer(), EndsWith("\r\n192.0.2.2"));
  EXPECT_THAT(peer.ReadAnswer(), EndsWith("\r\n127.0.0.1"));
}

TEST_F(ServerTest, Stranger_is_not_believed_who_sends_for_another) {
  ASSERT_TRUE(proxies.Add("192.0.2.0/24"));
  Start();
  EXPECT_EQ(SenderBehind(port, "X-Forwarded-For: 192.0.2.7\r\n"), "127.0.0.1");
}

// The line that a proxy has put at the end may be the one that is missing.
TEST_F(ServerTest, Header_that_breaks_off_names_nobody) {
  ASSERT_TRUE(proxies.Add("127.0.0.1"));
  Start();
  const std::string begin = "GET /peer HTTP/1.1\r\nHost: x\r\nX-Forwarded-For: 192.0.2.9\r\n";
  EXPECT_THAT(Exchange(begin + "A: " + std::string(20000, 'a') + "\r\n\r\n"),
              StartsWith("HTTP/1.1 431 "));
  EXPECT_THAT(Lines(), HasSubstr("refused 127.0.0.1\n"));
}

TEST_F(ServerTest, Connections_of_a_trusted_proxy_have_only_the_limit_of_all) {
  connectionLimits = {2, 1};
  ASSERT_TRUE(proxies.Add("127.0.0.1"));
  Start();
  Peer first(port);
  first.Send(Get("/a"));
  first.ReadAnswer();
  {
    Peer second(port);
    second.Send(Get("/a"));
    EXPECT_THAT(second.ReadAnswer(), StartsWith("HTTP/1.1 201 "));
    EXPECT_EQ(Peer(port).ReadAll(), "");
    EXPECT_EQ(server->Counts().refused, 1U);
    EXPECT_EQ(server->Counts().refusedOfSender, 0U);
  }
  while (server->Counts().open > 1) {
  }
  Peer next(port);
  next.Send(Get("/a"));
  EXPECT_THAT(next.ReadAnswer(), StartsWith("HTTP/1.1 201 "));
}

TEST_F(ServerTest, Sender_has_no_more_connections_than_it_may) {
  connectionLimits = {100, 1};
  Start();
  {
    Peer first(port);
    first.Send(Get("/a"));
    first.ReadAnswer();
    EXPECT_EQ(Peer(port).ReadAll(), "");
    EXPECT_EQ(server->Counts().refused, 0U);
    EXPECT_EQ(server->Counts().refusedOfSender, 1U);
  }
  while (server->Counts().open > 0) {
  }
  Peer next(port);
  next.Send(Get("/a"));
  EXPECT_THAT(next.ReadAnswer(), StartsWith("HTTP/1.1 201 "));
}

}  // namespace
}  // namespace cloudservice
