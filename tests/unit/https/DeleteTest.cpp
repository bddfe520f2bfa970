// SPDX-License-Identifier: Apache-2.0
#include "TransportTest.h"

namespace unit {
namespace {

const std::vector<std::string> kDeleteOptions = {"URL=https://cloud.example/redfish/v1/Thing",
                                                 "SSL_VERIFYPEER=0", "SSL_VERIFYHOST=0",
                                                 "HTTPHEADER", "CUSTOMREQUEST=DELETE"};

class DeleteTest : public TransportTest {};

TEST_F(DeleteTest, Sets_its_options_in_order) {
  curl().Answers(204);
  EXPECT_EQ(TransportTest::Delete(), 0u);
  EXPECT_EQ(SetOptions(), kDeleteOptions);
  EXPECT_THAT(LogLines(), IsEmpty());
}

TEST_F(DeleteTest, Sends_its_header_lines_in_order) {
  curl().Answers(204);
  TransportTest::Delete("tok-1");
  EXPECT_THAT(curl().Last().headerLines, ElementsAre("Host: 192.0.2.17", "X-Auth-Token: tok-1"));
}

TEST_F(DeleteTest, Keeps_the_token_line_of_an_empty_token) {
  curl().Answers(204);
  TransportTest::Delete("");
  EXPECT_THAT(curl().Last().headerLines, ElementsAre("Host: 192.0.2.17", "X-Auth-Token: "));
}

TEST_F(DeleteTest, Leaves_the_body_to_standard_output) {
  curl().Answers(200, "{\"gone\": true}");
  TransportTest::Delete();
  EXPECT_EQ(curl().Last().standardOutput, "{\"gone\": true}");
}

TEST_F(DeleteTest, Accepts_only_204) {
  for (const long status : {0L, 200L, 201L, 202L, 302L, 403L, 404L, 500L}) {
    curl().Answers(status);
    EXPECT_EQ(TransportTest::Delete(), 5u) << status;
  }
}

TEST_F(DeleteTest, Logs_a_refusal_with_what_the_buffers_hold) {
  curl().Answers(200, "left").Answers(404, "unseen");
  EXPECT_EQ(TransportTest::Patch(), 0u);
  EXPECT_EQ(TransportTest::Delete(), 5u);
  EXPECT_THAT(LogLines(),
              ElementsAre("3 HttpsClient DeleteResource: DELETE failed for url "
                          "https://cloud.example/redfish/v1/Thing",
                          "3 HttpsClient DeleteResource: Delete  failed (http respCode 404 - hdr: "
                          "HTTP/1.1 200 OK\r\n\r\n\nresp: HTTP/1.1 200 OK\r\n\r\nleft)"));
}

TEST_F(DeleteTest, Logs_a_failed_transfer_with_url_and_token) {
  curl().Fails(CURLE_COULDNT_CONNECT);
  EXPECT_EQ(TransportTest::Delete("tok-1"), 4u);
  EXPECT_THAT(LogLines(),
              ElementsAre("3 HttpsClient DeleteResource: Delete  failed (curlres: 7 - Couldn't "
                          "connect to server)",
                          "3 HttpsClient DeleteResource: resource url: "
                          "https://cloud.example/redfish/v1/Thing",
                          "3 HttpsClient DeleteResource: xauthtoken: tok-1"));
}

class DeleteSetupTest : public TransportTest, public testing::WithParamInterface<NamedOption> {};

TEST_P(DeleteSetupTest, Fails_at_the_first_option_that_is_refused) {
  curl().refuses[GetParam().option] = CURLE_OUT_OF_MEMORY;
  EXPECT_EQ(TransportTest::Delete(), 3u);
  EXPECT_EQ(SetOptions(), UpTo(kDeleteOptions, GetParam().name));
  EXPECT_EQ(curl().Last().performs, 0);
  EXPECT_THAT(LogLines(),
              ElementsAre("3 HttpsClient DeleteResource: Failed to setup curl request"));
}

INSTANTIATE_TEST_SUITE_P(Option, DeleteSetupTest,
                         testing::Values(NamedOption{CURLOPT_URL, "URL"},
                                         NamedOption{CURLOPT_SSL_VERIFYPEER, "SSL_VERIFYPEER"},
                                         NamedOption{CURLOPT_SSL_VERIFYHOST, "SSL_VERIFYHOST"},
                                         NamedOption{CURLOPT_HTTPHEADER, "HTTPHEADER"},
                                         NamedOption{CURLOPT_CUSTOMREQUEST, "CUSTOMREQUEST"}),
                         NameOf);

}  // namespace
}  // namespace unit
