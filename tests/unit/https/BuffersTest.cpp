#include "TransportTest.h"

namespace unit {
namespace {

// The buffers that operations share: which outcomes empty them, and who meets the rest.
class Buffers : public TransportTest {
 protected:
  void Leave(long status, const std::string& text) {
    curl().Answers(status, text);
    TransportTest::Patch();
  }
};

TEST_F(Buffers, A_patch_leaves_its_answer_in_front_of_the_next_posts) {
  Leave(204, "");
  curl().Answers(201, "{}");
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(header, "HTTP/1.1 204 No Content\r\n\r\nHTTP/1.1 201 Created\r\n\r\n");
  EXPECT_EQ(body, "HTTP/1.1 204 No Content\r\n\r\nHTTP/1.1 201 Created\r\n\r\n{}");
}

TEST_F(Buffers, A_refused_patch_leaves_its_body_too) {
  Leave(400, "no");
  curl().Answers(201, "{}");
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(body, "HTTP/1.1 400 Bad Request\r\n\r\nnoHTTP/1.1 201 Created\r\n\r\n{}");
}

TEST_F(Buffers, After_a_patch_without_a_body_a_get_is_clean) {
  Leave(204, "");
  curl().Answers(200, "{}");
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "{}");
  EXPECT_EQ(header, "HTTP/1.1 204 No Content\r\n\r\nHTTP/1.1 200 OK\r\n\r\n");
}

TEST_F(Buffers, After_a_patch_with_a_body_a_get_is_cut_wrong) {
  Leave(200, "{\"x\": 1}");
  curl().Answers(200, "{}");
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "0 OK\r\n\r\n{}");
  EXPECT_EQ(header, fakes::HeaderBlock(200) + fakes::HeaderBlock(200));
}

TEST_F(Buffers, Several_patches_add_up) {
  Leave(204, "");
  Leave(204, "");
  curl().Answers(200);
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(header, fakes::HeaderBlock(204) + fakes::HeaderBlock(204) + fakes::HeaderBlock(200));
}

TEST_F(Buffers, A_transfer_that_breaks_off_leaves_what_it_received) {
  curl().responses.push_back({CURLE_PARTIAL_FILE, 0, "HTTP/1.1 200 OK\r\n", "", ""});
  EXPECT_EQ(GetAuth(), 4u);
  curl().Answers(201, "{}");
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(body, "HTTP/1.1 200 OK\r\nHTTP/1.1 201 Created\r\n\r\n{}");
}

TEST_F(Buffers, The_attempts_at_an_unresolved_host_leave_nothing) {
  curl().Fails(CURLE_COULDNT_RESOLVE_HOST, 2).Answers(200, "{}");
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "{}");
}

TEST_F(Buffers, A_delete_neither_fills_nor_empties_them) {
  Leave(204, "");
  curl().Answers(204, "unseen");
  EXPECT_EQ(Delete(), 0u);
  curl().Answers(201);
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(body, fakes::HeaderBlock(204) + fakes::HeaderBlock(201));
}

TEST_F(Buffers, A_success_empties_them) {
  curl().Answers(201, "one").Answers(200, "two").Answers(201, "three");
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, "two");
  EXPECT_EQ(Post(), 0u);
  EXPECT_EQ(body, fakes::HeaderBlock(201) + "three");
}

TEST_F(Buffers, They_are_shared_by_all_clients) {
  Leave(204, "");
  HttpsClient other;
  uint32_t code = 0;
  other.InitCurl(code);
  curl().Answers(201);
  EXPECT_EQ(other.PostJsonDocument(kUrl, body, header, kDocument, ""), 0u);
  EXPECT_EQ(header, fakes::HeaderBlock(204) + fakes::HeaderBlock(201));
}

TEST_F(Buffers, Bytes_of_any_value_pass) {
  const std::string bytes("a\0b\xFF\r\n", 6);
  curl().Answers(200, bytes);
  EXPECT_EQ(GetAuth(), 0u);
  EXPECT_EQ(body, bytes);
}

}  // namespace
}  // namespace unit
