// SPDX-License-Identifier: Apache-2.0
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
