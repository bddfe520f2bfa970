// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ServerTest.h"

namespace cloudservice {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

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
  limits.bodyBytes = 1000000;
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
    EXPECT_THAT(Exchange(Chunked(begin + std::string(1000000, 'a'))),
                EndsWith("A chunk's extensions or the trailers are too large."))
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

}  // namespace
}  // namespace cloudservice
