// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <ostream>
#include <string>

#include "TransportTest.h"

namespace unit {
namespace {

// The buffers that operations share: which outcomes empty them, and who meets the rest.
class BuffersTest : public TransportTest {
 protected:
  void Leave(long status, const std::string& text) {
    curl().Answers(status, text);
    TransportTest::Patch();
  }
};

TEST_F(BuffersTest, A_patch_leaves_its_answer_in_front_of_the_next_posts) {
  Leave(204, "");
  curl().Answers(201, "{}");
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(header, "HTTP/1.1 204 No Content\r\n\r\nHTTP/1.1 201 Created\r\n\r\n");
  EXPECT_EQ(body, "HTTP/1.1 204 No Content\r\n\r\nHTTP/1.1 201 Created\r\n\r\n{}");
}

TEST_F(BuffersTest, A_refused_patch_leaves_its_body_too) {
  Leave(400, "no");
  curl().Answers(201, "{}");
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(body, "HTTP/1.1 400 Bad Request\r\n\r\nnoHTTP/1.1 201 Created\r\n\r\n{}");
}

TEST_F(BuffersTest, After_a_patch_without_a_body_a_get_is_clean) {
  Leave(204, "");
  curl().Answers(200, "{}");
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "{}");
  EXPECT_EQ(header, "HTTP/1.1 204 No Content\r\n\r\nHTTP/1.1 200 OK\r\n\r\n");
}

TEST_F(BuffersTest, After_a_patch_with_a_body_a_get_is_cut_wrong) {
  Leave(200, "{\"x\": 1}");
  curl().Answers(200, "{}");
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "0 OK\r\n\r\n{}");
  EXPECT_EQ(header, fakes::HeaderBlock(200) + fakes::HeaderBlock(200));
}

TEST_F(BuffersTest, Take_pieces_of_any_number_and_size_of_items) {
  curl().oneItem = true;
  curl().Answers(201, "{}").Answers(200, "[ ]");
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(body, "HTTP/1.1 201 Created\r\n\r\n{}");
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "[ ]");
  EXPECT_EQ(header, fakes::HeaderBlock(200));
}

TEST_F(BuffersTest, Several_patches_add_up) {
  Leave(204, "");
  Leave(204, "");
  curl().Answers(200);
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(header, fakes::HeaderBlock(204) + fakes::HeaderBlock(204) + fakes::HeaderBlock(200));
}

TEST_F(BuffersTest, A_transfer_that_breaks_off_leaves_what_it_received) {
  curl().responses.push_back({CURLE_PARTIAL_FILE, 0, "HTTP/1.1 200 OK\r\n", "", ""});
  EXPECT_EQ(GetAuth(), 4u);
  curl().Answers(201, "{}");
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(body, "HTTP/1.1 200 OK\r\nHTTP/1.1 201 Created\r\n\r\n{}");
}

TEST_F(BuffersTest, An_answer_longer_than_any_memory_is_a_failed_transfer) {
  curl().responses.push_back({CURLE_OK, 200, fakes::HeaderBlock(200), "{", "", true});
  EXPECT_EQ(GetAuth(), 4u);
  EXPECT_EQ(LogLines().front(),
            "3 HttpsClient PerformGet: Get(" + std::string(kUrl) +
                ") failed (curlres: 23 - Failed writing received data to disk/application)");
  curl().Answers(201);
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(body, fakes::HeaderBlock(200) + "{" + fakes::HeaderBlock(201));
}

TEST_F(BuffersTest, The_attempts_at_an_unresolved_host_leave_nothing) {
  curl().Fails(CURLE_COULDNT_RESOLVE_HOST, 2).Answers(200, "{}");
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "{}");
}

TEST_F(BuffersTest, A_delete_neither_fills_nor_empties_them) {
  Leave(204, "");
  curl().Answers(204, "unseen");
  EXPECT_EQ(Delete(), 0u);
  curl().Answers(201);
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(body, fakes::HeaderBlock(204) + fakes::HeaderBlock(201));
}

TEST_F(BuffersTest, A_success_empties_them) {
  curl().Answers(201, "one").Answers(200, "two").Answers(201, "three");
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "two");
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(body, fakes::HeaderBlock(201) + "three");
}

TEST_F(BuffersTest, They_are_shared_by_all_clients) {
  Leave(204, "");
  HttpsClient other;
  uint32_t code = 0;
  other.InitCurl(code);
  curl().Answers(201);
  EXPECT_EQ(other.PostJsonDocument(kUrl, body, header, kDocument, ""), 0u);
  EXPECT_EQ(header, fakes::HeaderBlock(204) + fakes::HeaderBlock(201));
}

TEST_F(BuffersTest, Bytes_of_any_value_pass) {
  const std::string bytes("a\0b\xFF\r\n", 6);
  curl().Answers(200, bytes);
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, bytes);
}

// An outcome after which the buffers are as they were before.
struct Untouched {
  const char* name;
  HttpsResult result;
  std::function<HttpsResult(HttpsClient&)> run;
};

void PrintTo(const Untouched& outcome, std::ostream* stream) { *stream << outcome.name; }

HttpsResult PostTo(HttpsClient& client) {
  std::string ignored;
  return client.PostJsonDocument(kUrl, ignored, ignored, kDocument, "");
}

HttpsResult PatchTo(HttpsClient& client) { return client.PatchResource(kUrl, "", kDocument); }

HttpsResult GetFrom(HttpsClient& client) {
  std::string ignored;
  return client.GetDocument(kUrl, ignored, ignored);
}

HttpsResult GetAuthFrom(HttpsClient& client) {
  std::string ignored;
  return client.GetAuthDocument(kUrl, ignored, ignored, "");
}

HttpsResult DeleteOf(HttpsClient& client) { return client.DeleteResource(kUrl, ""); }

template <HttpsResult (*Run)(HttpsClient&)>
HttpsResult Failing(HttpsClient& client) {
  curl().Fails(CURLE_COULDNT_CONNECT);
  return Run(client);
}

template <HttpsResult (*Run)(HttpsClient&), CURLoption Option>
HttpsResult Refused(HttpsClient& client) {
  curl().refuses[Option] = CURLE_OUT_OF_MEMORY;
  const HttpsResult result = Run(client);
  curl().refuses.clear();
  return result;
}

class UntouchedBuffersTest : public BuffersTest, public testing::WithParamInterface<Untouched> {};

TEST_P(UntouchedBuffersTest, Keep_what_was_left_for_the_next_post) {
  Leave(204, "");
  EXPECT_EQ(GetParam().run(client), GetParam().result);
  curl().Answers(201, "{}");
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(header, fakes::HeaderBlock(204) + fakes::HeaderBlock(201));
  EXPECT_EQ(body, fakes::HeaderBlock(204) + fakes::HeaderBlock(201) + "{}");
}

INSTANTIATE_TEST_SUITE_P(
    Outcomes, UntouchedBuffersTest,
    testing::Values(Untouched{"PostFailed", 4, Failing<PostTo>},
                    Untouched{"PatchFailed", 4, Failing<PatchTo>},
                    Untouched{"GetFailed", 4, Failing<GetFrom>},
                    Untouched{"GetAuthFailed", 4, Failing<GetAuthFrom>},
                    Untouched{"DeleteFailed", 4, Failing<DeleteOf>},
                    Untouched{"DeleteRefused", 5,
                              [](HttpsClient& client) {
                                curl().Answers(404, "unseen");
                                return DeleteOf(client);
                              }},
                    Untouched{"PostWithoutOptions", 3, Refused<PostTo, CURLOPT_URL>},
                    Untouched{"PatchWithoutOptions", 3, Refused<PatchTo, CURLOPT_HTTPHEADER>},
                    Untouched{"GetWithoutOptions", 3, Refused<GetFrom, CURLOPT_URL>},
                    Untouched{"GetAuthWithoutOptions", 3, Refused<GetAuthFrom, CURLOPT_URL>},
                    Untouched{"DeleteWithoutOptions", 3, Refused<DeleteOf, CURLOPT_URL>},
                    Untouched{"PostWithoutHeaderSink", 0, Refused<PostTo, CURLOPT_HEADERDATA>},
                    Untouched{"GetAuthWithoutHeaderList", 0,
                              Refused<GetAuthFrom, CURLOPT_HTTPHEADER>}),
    [](const auto& outcome) { return std::string(outcome.param.name); });

}  // namespace
}  // namespace unit
