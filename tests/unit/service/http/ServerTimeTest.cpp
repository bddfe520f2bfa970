// SPDX-License-Identifier: Apache-2.0
#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ServerTest.h"

namespace cloudservice {
namespace {

using testing::HasSubstr;

TEST_F(ServerTest, Idle_connection_is_closed) {
  limits.idle = std::chrono::milliseconds(1);
  Start();
  EXPECT_EQ(Peer(port).ReadAll(), "");
}

TEST_F(ServerTest, Header_and_body_have_to_come_in_time) {
  limits.header = limits.body = std::chrono::milliseconds(20);
  Start();
  Peer inHeader(port);
  inHeader.Send("GET / HT");
  EXPECT_EQ(inHeader.ReadAll(), "");
  Peer inBody(port);
  inBody.Send(Post("a", "3"));
  EXPECT_EQ(inBody.ReadAll(), "");
  EXPECT_THAT(Lines(), HasSubstr("connection closed: its request took too long"));
}

// However its bytes come: a stream's own time does not run out while each read finds something.
TEST_F(ServerTest, Header_has_one_time_for_all_its_bytes) {
  limits.header = std::chrono::seconds(20);
  Start();
  EXPECT_NEAR(Drip("GET / HTTP/1.1\r\nA: "), 20, 2);
  EXPECT_NEAR(Drip("G"), 20, 2);
  EXPECT_THAT(Lines(), HasSubstr("connection closed: its request took too long"));
}

TEST_F(ServerTest, Body_has_one_time_for_all_its_bytes) {
  limits.body = std::chrono::seconds(20);
  Start();
  EXPECT_NEAR(Drip(Post("", "1000")), 20, 2);
  EXPECT_NEAR(Drip(Chunked("3e8\r\n")), 20, 2);
  EXPECT_NEAR(Drip(Chunked("1;")), 20, 2);
  EXPECT_NEAR(Drip(Chunked("0\r\nT: ")), 20, 2);
  EXPECT_THAT(Lines(), HasSubstr("connection closed: its request took too long"));
}

TEST_F(ServerTest, Farewell_has_one_time_for_all_that_still_comes) {
  limits.farewell = std::chrono::seconds(20);
  Start();
  EXPECT_NEAR(Drip("GET / HTTP/2.0\r\n\r\n"), 20, 2);
}

}  // namespace
}  // namespace cloudservice
