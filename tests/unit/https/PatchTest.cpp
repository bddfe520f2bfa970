// SPDX-License-Identifier: Apache-2.0
#include "TransportTest.h"

namespace unit {
namespace {

const std::vector<std::string> kPatchOptions = {"URL=https://cloud.example/redfish/v1/Thing",
                                                "WRITEFUNCTION",
                                                "WRITEDATA",
                                                "SSL_VERIFYPEER=0",
                                                "SSL_VERIFYHOST=0",
                                                "HTTPHEADER",
                                                "HEADER=1",
                                                "HEADERFUNCTION",
                                                "HEADERDATA",
                                                "CUSTOMREQUEST=PATCH",
                                                "POSTFIELDS={\"a\": 1}"};

class PatchTest : public TransportTest {};

TEST_F(PatchTest, Sets_its_options_in_order) {
  curl().Answers(204);
  EXPECT_EQ(TransportTest::Patch(), 0u);
  EXPECT_EQ(SetOptions(), kPatchOptions);
  EXPECT_EQ(curl().Last().document, kDocument);
}

TEST_F(PatchTest, Sends_its_header_lines_in_order) {
  curl().Answers(204);
  TransportTest::Patch("tok-1");
  EXPECT_THAT(curl().Last().headerLines,
              ElementsAre("Host: 192.0.2.17", "X-Auth-Token: tok-1",
                          "Content-Type: application/json; charset=utf-8", "Content-Length: 8",
                          "Accept: application/json"));
}

TEST_F(PatchTest, Keeps_the_token_line_of_an_empty_token) {
  curl().Answers(204);
  TransportTest::Patch("");
  EXPECT_EQ(curl().Last().headerLines[1], "X-Auth-Token: ");
}

TEST_F(PatchTest, Accepts_only_200_202_and_204) {
  for (const long status : {200L, 202L, 204L}) {
    curl().Answers(status);
    EXPECT_EQ(TransportTest::Patch(), 0u) << status;
  }
  for (const long status : {0L, 201L, 203L, 205L, 302L, 400L, 403L, 500L}) {
    curl().Answers(status);
    EXPECT_EQ(TransportTest::Patch(), 10u) << status;
  }
}

TEST_F(PatchTest, Logs_a_refusal_with_document_and_header) {
  curl().Answers(400, "no");
  EXPECT_EQ(TransportTest::Patch(), 10u);
  EXPECT_THAT(LogLines(),
              ElementsAre("3 HttpsClient PatchResource: PATCH failed for url "
                          "https://cloud.example/redfish/v1/Thing  doc: {\"a\": 1}",
                          "3 HttpsClient PatchResource: respCode(400)  hdr: HTTP/1.1 400 Bad "
                          "Request\r\n\r\n"));
}

TEST_F(PatchTest, Reports_a_failed_transfer) {
  curl().Fails(CURLE_SSL_CONNECT_ERROR);
  EXPECT_EQ(TransportTest::Patch(), 4u);
  EXPECT_THAT(LogLines(), ElementsAre("3 HttpsClient PatchResource: Patch  failed (curlres: 35 - "
                                      "SSL connect error)"));
}

class PatchSetupTest : public TransportTest, public testing::WithParamInterface<NamedOption> {};

TEST_P(PatchSetupTest, Fails_silently_when_an_option_is_refused) {
  curl().refuses[GetParam().option] = CURLE_OUT_OF_MEMORY;
  EXPECT_EQ(TransportTest::Patch(), 3u);
  EXPECT_EQ(SetOptions(), UpTo(kPatchOptions, GetParam().name));
  EXPECT_EQ(curl().Last().performs, 0);
  EXPECT_THAT(LogLines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Option, PatchSetupTest,
                         testing::Values(NamedOption{CURLOPT_SSL_VERIFYPEER, "SSL_VERIFYPEER"},
                                         NamedOption{CURLOPT_SSL_VERIFYHOST, "SSL_VERIFYHOST"},
                                         NamedOption{CURLOPT_HTTPHEADER, "HTTPHEADER"},
                                         NamedOption{CURLOPT_POSTFIELDS, "POSTFIELDS"}),
                         NameOf);

class PatchUncheckedTest : public TransportTest, public testing::WithParamInterface<NamedOption> {};

TEST_P(PatchUncheckedTest, Goes_on_when_an_option_is_refused) {
  curl().refuses[GetParam().option] = CURLE_OUT_OF_MEMORY;
  // Without a header block: nothing would be there to receive it.
  curl().responses.push_back({CURLE_OK, 204, "", "", ""});
  EXPECT_EQ(TransportTest::Patch(), 0u);
  EXPECT_EQ(SetOptions(), kPatchOptions);
  EXPECT_EQ(curl().Last().performs, 1);
  EXPECT_THAT(LogLines(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Option, PatchUncheckedTest,
                         testing::Values(NamedOption{CURLOPT_URL, "URL"},
                                         NamedOption{CURLOPT_WRITEFUNCTION, "WRITEFUNCTION"},
                                         NamedOption{CURLOPT_WRITEDATA, "WRITEDATA"},
                                         NamedOption{CURLOPT_HEADER, "HEADER"},
                                         NamedOption{CURLOPT_HEADERFUNCTION, "HEADERFUNCTION"},
                                         NamedOption{CURLOPT_HEADERDATA, "HEADERDATA"},
                                         NamedOption{CURLOPT_CUSTOMREQUEST, "CUSTOMREQUEST"}),
                         NameOf);

}  // namespace
}  // namespace unit
