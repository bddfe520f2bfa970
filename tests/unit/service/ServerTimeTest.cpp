#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ServerFixture.h"

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
  Peer in_header(port);
  in_header.Send("GET / HT");
  EXPECT_EQ(in_header.ReadAll(), "");
  Peer in_body(port);
  in_body.Send(Post("a", "3"));
  EXPECT_EQ(in_body.ReadAll(), "");
  EXPECT_THAT(Lines(), HasSubstr("connection closed: its request took too long"));
}

}  // namespace
}  // namespace cloudservice
