// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ServerTest.h"

namespace cloudservice {
namespace {

using testing::HasSubstr;
using testing::Not;

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
  EXPECT_EQ(server->Counts().open, 0u);
  EXPECT_EQ(idle.ReadAll(), "");
  EXPECT_TRUE(written->Ended());
}

}  // namespace
}  // namespace cloudservice
