// SPDX-License-Identifier: Apache-2.0
#include "TransportTest.h"

namespace unit {
namespace {

const std::vector<std::string> kPostOptions = {"URL=https://cloud.example/redfish/v1/Thing",
                                               "WRITEFUNCTION",
                                               "WRITEDATA",
                                               "SSL_VERIFYPEER=0",
                                               "SSL_VERIFYHOST=0",
                                               "HTTPHEADER",
                                               "POSTFIELDS={\"a\": 1}",
                                               "HEADER=1",
                                               "HEADERFUNCTION",
                                               "HEADERDATA"};

class PostTest : public TransportTest {};

TEST_F(PostTest, Sets_its_options_in_order) {
  curl().Answers(201);
  EXPECT_EQ(TransportTest::Post(), 0u);
  EXPECT_EQ(SetOptions(), kPostOptions);
  EXPECT_EQ(curl().Last().Method(), "POST");
}

TEST_F(PostTest, Sends_its_header_lines_in_order) {
  curl().Answers(200);
  TransportTest::Post("tok-1");
  EXPECT_THAT(curl().Last().headerLines,
              ElementsAre("Host: 192.0.2.17", "Content-Type: application/json", "charset=utf-8",
                          "Content-Length: 8", "Accept: application/json", "X-Auth-Token: tok-1"));
  EXPECT_EQ(curl().Last().document, kDocument);
}

TEST_F(PostTest, Sends_no_token_line_for_an_empty_token) {
  curl().Answers(200);
  TransportTest::Post("");
  EXPECT_THAT(curl().Last().headerLines,
              ElementsAre("Host: 192.0.2.17", "Content-Type: application/json", "charset=utf-8",
                          "Content-Length: 8", "Accept: application/json"));
}

TEST_F(PostTest, Keeps_the_token_as_it_is_given) {
  curl().Answers(200);
  TransportTest::Post(" a:b ");
  EXPECT_EQ(curl().Last().headerLines.back(), "X-Auth-Token:  a:b ");
}

TEST_F(PostTest, A_line_that_finds_no_memory_costs_no_other_line) {
  curl().refusesLine = "charset=utf-8";
  curl().Answers(200);
  EXPECT_EQ(TransportTest::Post("tok-1"), 0u);
  EXPECT_THAT(curl().Last().headerLines,
              ElementsAre("Host: 192.0.2.17", "Content-Type: application/json", "Content-Length: 8",
                          "Accept: application/json", "X-Auth-Token: tok-1"));
  EXPECT_EQ(curl().liveLists, 0);
}

TEST_F(PostTest, Counts_the_length_in_bytes) {
  curl().Answers(200);
  client.PostJsonDocument(kUrl, body, header, "\xC3\xA9", "");
  EXPECT_EQ(curl().Last().headerLines[3], "Content-Length: 2");
  curl().Answers(200);
  client.PostJsonDocument(kUrl, body, header, "", "");
  EXPECT_EQ(curl().Last().headerLines[3], "Content-Length: 0");
}

TEST_F(PostTest, Does_without_an_address_that_is_not_known) {
  platform().network.status = 1;
  curl().Answers(200);
  EXPECT_EQ(TransportTest::Post(), 0u);
  EXPECT_EQ(curl().Last().headerLines[0], "Host: ");
}

TEST_F(PostTest, Hands_out_header_block_and_body_together) {
  curl().Answers(201, "{\"Id\": \"7\"}", {"Location: /x"});
  EXPECT_EQ(TransportTest::Post(), 0u);
  EXPECT_EQ(body, "HTTP/1.1 201 Created\r\nLocation: /x\r\n\r\n{\"Id\": \"7\"}");
  EXPECT_EQ(header, "HTTP/1.1 201 Created\r\nLocation: /x\r\n\r\n");
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(PostTest, Hands_out_the_blocks_of_every_response_of_the_transfer) {
  curl().responses.push_back(
      {CURLE_OK, 201, "HTTP/1.1 100 Continue\r\n\r\n" + fakes::HeaderBlock(201), "{}", ""});
  EXPECT_EQ(TransportTest::Post(), 0u);
  EXPECT_EQ(header, "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 201 Created\r\n\r\n");
  EXPECT_EQ(body, header + "{}");
}

TEST_F(PostTest, Accepts_only_200_and_201) {
  for (const long status : {200L, 201L}) {
    curl().Answers(status);
    EXPECT_EQ(TransportTest::Post(), 0u) << status;
  }
  for (const long status : {0L, 100L, 199L, 202L, 204L, 302L, 400L, 403L, 500L}) {
    curl().Answers(status);
    EXPECT_EQ(TransportTest::Post(), 6u) << status;
  }
}

TEST_F(PostTest, Logs_a_refusal_and_hands_the_answer_out) {
  curl().Answers(400, "{\"error\": {}}");
  EXPECT_EQ(TransportTest::Post(), 6u);
  EXPECT_EQ(header, "HTTP/1.1 400 Bad Request\r\n\r\n");
  EXPECT_EQ(body, "HTTP/1.1 400 Bad Request\r\n\r\n{\"error\": {}}");
  EXPECT_THAT(
      LogLines(),
      ElementsAre("3 HttpsClient PostJsonDocument: POST failed for url "
                  "https://cloud.example/redfish/v1/Thing",
                  "3 HttpsClient PostJsonDocument: respCode: 400  hdr: HTTP/1.1 400 Bad "
                  "Request\r\n\r\n  resp: HTTP/1.1 400 Bad Request\r\n\r\n{\"error\": {}}"));
}

TEST_F(PostTest, Empties_the_buffers_after_a_refusal) {
  curl().Answers(500, "oops").Answers(201, "{}");
  EXPECT_EQ(TransportTest::Post(), 6u);
  EXPECT_EQ(TransportTest::Post(), 0u);
  EXPECT_EQ(body, "HTTP/1.1 201 Created\r\n\r\n{}");
}

TEST_F(PostTest, Reports_a_failed_transfer) {
  curl().Fails(CURLE_COULDNT_CONNECT);
  EXPECT_EQ(TransportTest::Post(), 4u);
  EXPECT_EQ(body, "old body");
  EXPECT_EQ(header, "old header");
  EXPECT_THAT(LogLines(), ElementsAre("3 HttpsClient PostJsonDocument: HTTP POST failed (curlres: "
                                      "7 - Couldn't connect to server)"));
}

class PostSetupTest : public TransportTest, public testing::WithParamInterface<NamedOption> {};

TEST_P(PostSetupTest, Fails_at_the_first_option_that_is_refused) {
  curl().refuses[GetParam().option] = CURLE_OUT_OF_MEMORY;
  EXPECT_EQ(TransportTest::Post(), 3u);
  EXPECT_EQ(SetOptions(), UpTo(kPostOptions, GetParam().name));
  EXPECT_EQ(curl().Last().performs, 0);
  EXPECT_EQ(curl().listsMade, 1);
  EXPECT_THAT(LogLines(),
              ElementsAre("3 HttpsClient PostJsonDocument: Failed to setup curl request"));
}

INSTANTIATE_TEST_SUITE_P(Option, PostSetupTest,
                         testing::Values(NamedOption{CURLOPT_URL, "URL"},
                                         NamedOption{CURLOPT_WRITEFUNCTION, "WRITEFUNCTION"},
                                         NamedOption{CURLOPT_WRITEDATA, "WRITEDATA"},
                                         NamedOption{CURLOPT_SSL_VERIFYPEER, "SSL_VERIFYPEER"},
                                         NamedOption{CURLOPT_SSL_VERIFYHOST, "SSL_VERIFYHOST"},
                                         NamedOption{CURLOPT_HTTPHEADER, "HTTPHEADER"},
                                         NamedOption{CURLOPT_POSTFIELDS, "POSTFIELDS"}),
                         NameOf);

class PostHeaderSetupTest : public TransportTest,
                            public testing::WithParamInterface<NamedOption> {};

TEST_P(PostHeaderSetupTest, Sends_nothing_and_succeeds_when_a_header_option_is_refused) {
  curl().refuses[GetParam().option] = CURLE_UNKNOWN_OPTION;
  EXPECT_EQ(TransportTest::Post(), 0u);
  EXPECT_EQ(SetOptions(), UpTo(kPostOptions, GetParam().name));
  EXPECT_EQ(curl().Last().performs, 0);
  EXPECT_EQ(body, "old body");
  EXPECT_EQ(header, "old header");
  EXPECT_THAT(LogLines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Option, PostHeaderSetupTest,
                         testing::Values(NamedOption{CURLOPT_HEADER, "HEADER"},
                                         NamedOption{CURLOPT_HEADERFUNCTION, "HEADERFUNCTION"},
                                         NamedOption{CURLOPT_HEADERDATA, "HEADERDATA"}),
                         NameOf);

}  // namespace
}  // namespace unit
