// SPDX-License-Identifier: Apache-2.0
#include <stdexcept>

#include "TransportTest.h"

namespace unit {
namespace {

const std::vector<std::string> kGetOptions = {"URL=https://cloud.example/redfish/v1/Thing",
                                              "WRITEFUNCTION",
                                              "WRITEDATA",
                                              "SSL_VERIFYPEER=0",
                                              "SSL_VERIFYHOST=0",
                                              "HEADER=1",
                                              "HEADERFUNCTION",
                                              "HEADERDATA"};

class GetTest : public TransportTest {};

TEST_F(GetTest, Sets_its_options_in_order_and_no_header_line) {
  curl().Answers(200);
  EXPECT_EQ(TransportTest::Get(), 0u);
  EXPECT_EQ(SetOptions(), kGetOptions);
  EXPECT_EQ(curl().Last().Method(), "GET");
  EXPECT_EQ(curl().listsMade, 0);
}

TEST_F(GetTest, With_token_adds_its_header_lines_in_order) {
  curl().Answers(200);
  EXPECT_EQ(GetAuth("tok-1"), 0u);
  std::vector<std::string> options = kGetOptions;
  options.emplace_back("HTTPHEADER");
  EXPECT_EQ(SetOptions(), options);
  EXPECT_THAT(curl().Last().headerLines,
              ElementsAre("Host: 192.0.2.17", "Accept: application/json", "X-Auth-Token: tok-1"));
}

TEST_F(GetTest, With_an_empty_token_keeps_the_token_line) {
  curl().Answers(200);
  EXPECT_EQ(GetAuth(""), 0u);
  EXPECT_EQ(curl().Last().headerLines.back(), "X-Auth-Token: ");
}

TEST_F(GetTest, Cuts_the_header_block_off_the_body) {
  curl().Answers(200, "{}", {"Server: s"});
  EXPECT_EQ(TransportTest::Get(), 0u);
  EXPECT_EQ(body, "{}");
  EXPECT_EQ(header, "HTTP/1.1 200 OK\r\nServer: s\r\n\r\n");
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(GetTest, With_token_cuts_the_header_block_off_the_body) {
  curl().Answers(200, "{}", {"Server: s"});
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "{}");
  EXPECT_EQ(header, "HTTP/1.1 200 OK\r\nServer: s\r\n\r\n");
}

TEST_F(GetTest, Hands_out_an_empty_body) {
  curl().Answers(200);
  EXPECT_EQ(TransportTest::Get(), 0u);
  EXPECT_EQ(body, "");
}

TEST_F(GetTest, Reports_a_redirect_with_its_header_and_no_body) {
  for (const long status : {302L, 303L}) {
    body = "old body";
    curl().Answers(status, "moved", {"Location: /redfish/v1/Managers/7"});
    EXPECT_EQ(GetAuth(), 7u);
    EXPECT_EQ(body, "");
    EXPECT_EQ(header, fakes::HeaderBlock(status, {"Location: /redfish/v1/Managers/7"}));
  }
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(GetTest, Empties_the_buffers_after_a_redirect) {
  curl().Answers(302, "moved").Answers(200, "{}");
  EXPECT_EQ(GetAuth(), 7u);
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "{}");
  EXPECT_EQ(header, "HTTP/1.1 200 OK\r\n\r\n");
}

TEST_F(GetTest, Reports_a_rejected_token_with_the_answer) {
  curl().Answers(403, "{\"error\": {}}");
  EXPECT_EQ(GetAuth(), 9u);
  EXPECT_EQ(body, "{\"error\": {}}");
  EXPECT_EQ(header, "HTTP/1.1 403 Forbidden\r\n\r\n");
  EXPECT_THAT(LogLines(), ElementsAre("6 HttpsClient PerformGet: Failed to get document (invalid "
                                      "xauthtoken(hcr: 9)"));
}

TEST_F(GetTest, Treats_every_other_status_as_a_failed_transfer) {
  for (const long status : {0L, 201L, 204L, 301L, 304L, 307L, 400L, 401L, 404L, 500L}) {
    curl().Answers(status, "text");
    EXPECT_EQ(TransportTest::Get(), 4u) << status;
    EXPECT_EQ(body, "old body") << status;
    EXPECT_EQ(header, "old header") << status;
  }
}

TEST_F(GetTest, Logs_any_other_status) {
  curl().Answers(404, "text");
  EXPECT_EQ(GetAuth(), 4u);
  EXPECT_THAT(
      LogLines(),
      ElementsAre("3 HttpsClient PerformGet: GET failed for url "
                  "https://cloud.example/redfish/v1/Thing",
                  "3 HttpsClient PerformGet: respCode: 404 hdr: HTTP/1.1 404 Not Found\r\n\r\n  "
                  "resp: HTTP/1.1 404 Not Found\r\n\r\ntext",
                  "3 HttpsClient PerformGet: Failed to get document (hcr: 4)"));
}

TEST_F(GetTest, Empties_the_buffers_after_any_other_status) {
  curl().Answers(500, "oops").Answers(200, "{}");
  EXPECT_EQ(TransportTest::Get(), 4u);
  EXPECT_EQ(TransportTest::Get(), 0u);
  EXPECT_EQ(body, "{}");
}

TEST_F(GetTest, Reports_a_failed_transfer) {
  curl().Fails(CURLE_COULDNT_CONNECT);
  EXPECT_EQ(TransportTest::Get(), 4u);
  EXPECT_EQ(body, "old body");
  EXPECT_EQ(header, "old header");
  EXPECT_THAT(LogLines(),
              ElementsAre("3 HttpsClient PerformGet: Get(https://cloud.example/redfish/v1/Thing) "
                          "failed (curlres: 7 - Couldn't connect to server)",
                          "3 HttpsClient PerformGet: Failed to get document (hcr: 4)"));
}

TEST_F(GetTest, Raises_out_of_range_when_the_header_is_longer_than_everything_received) {
  for (const long status : {200L, 403L}) {
    curl().responses.push_back(
        {CURLE_OK, status, fakes::HeaderBlock(status), "{}", "X-Checksum: 1\r\n\r\n"});
    EXPECT_THROW(GetAuth(), std::out_of_range) << status;
    EXPECT_THAT(LogLines(), IsEmpty());  // a token is told as refused only with its answer cut
    EXPECT_EQ(curl().liveHandles, 0);
    EXPECT_EQ(curl().liveLists, 0);
    EXPECT_EQ(platform().mutexes.Held(), 0);
  }
  curl().Answers(200, "{}");
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "{}");
}

TEST_F(GetTest, Cuts_by_length_and_not_by_content) {
  curl().responses.push_back({CURLE_OK, 200, fakes::HeaderBlock(200), "{\"a\": 1}", "T: 1\r\n"});
  EXPECT_EQ(TransportTest::Get(), 0u);
  EXPECT_EQ(body, "1}");
}

class GetSetupTest : public TransportTest, public testing::WithParamInterface<NamedOption> {};

TEST_P(GetSetupTest, Fails_silently_without_a_token) {
  curl().refuses[GetParam().option] = CURLE_OUT_OF_MEMORY;
  EXPECT_EQ(TransportTest::Get(), 3u);
  EXPECT_EQ(SetOptions(), UpTo(kGetOptions, GetParam().name));
  EXPECT_EQ(curl().Last().performs, 0);
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_P(GetSetupTest, Fails_with_a_message_with_a_token) {
  curl().refuses[GetParam().option] = CURLE_OUT_OF_MEMORY;
  EXPECT_EQ(GetAuth(), 3u);
  EXPECT_EQ(SetOptions(), UpTo(kGetOptions, GetParam().name));
  EXPECT_EQ(curl().Last().performs, 0);
  EXPECT_THAT(LogLines(),
              ElementsAre("3 HttpsClient GetAuthDocument: Failed to setup the curl request"));
}

INSTANTIATE_TEST_SUITE_P(Option, GetSetupTest,
                         testing::Values(NamedOption{CURLOPT_URL, "URL"},
                                         NamedOption{CURLOPT_WRITEFUNCTION, "WRITEFUNCTION"},
                                         NamedOption{CURLOPT_WRITEDATA, "WRITEDATA"},
                                         NamedOption{CURLOPT_SSL_VERIFYPEER, "SSL_VERIFYPEER"},
                                         NamedOption{CURLOPT_SSL_VERIFYHOST, "SSL_VERIFYHOST"},
                                         NamedOption{CURLOPT_HEADER, "HEADER"},
                                         NamedOption{CURLOPT_HEADERFUNCTION, "HEADERFUNCTION"},
                                         NamedOption{CURLOPT_HEADERDATA, "HEADERDATA"}),
                         NameOf);

TEST_F(GetTest, With_token_sends_nothing_and_succeeds_when_its_header_list_is_refused) {
  curl().refuses[CURLOPT_HTTPHEADER] = CURLE_OUT_OF_MEMORY;
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(curl().Last().performs, 0);
  EXPECT_EQ(body, "old body");
  EXPECT_EQ(header, "old header");
  EXPECT_THAT(LogLines(), IsEmpty());
}

}  // namespace
}  // namespace unit
