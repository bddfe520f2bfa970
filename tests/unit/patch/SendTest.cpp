// SPDX-License-Identifier: Apache-2.0
// One PATCH of a resource.
#include "PatchTest.h"

namespace patch_test {
namespace {

using cloudclient::ResourceUrlEntry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SendTest : public PatchTest {
 protected:
  void SetUp() override {
    PatchTest::SetUp();
    platform().cloud.token = "token-1";
    service.answers("PATCH", "*", 204);
  }

  static ResourceUrlEntry Resource(const std::string& url, const std::string& tag) {
    ResourceUrlEntry resource;
    resource.url = url;
    resource.resourceTag = tag;
    return resource;
  }

  int32_t Sent(const std::string& url, const std::string& tag, const std::string& id = "17") {
    return patch.SendResourceToCloud(&client, Resource(url, tag), id, "{}");
  }
};

TEST_F(SendTest, A_resource_with_its_document_and_the_token) {
  EXPECT_EQ(patch.SendResourceToCloud(
                &client, Resource("/redfish/v1/Chassis/<chassisid>/Thermal", "<chassisid>"), "17",
                "{\"a\": 1}\r\n"),
            0);
  ASSERT_THAT(service.requests(), SizeIs(1));
  EXPECT_EQ(service.requests()[0].method, "PATCH");
  EXPECT_EQ(service.requests()[0].url, "https://cloud.example/redfish/v1/Chassis/17/Thermal");
  EXPECT_EQ(service.requests()[0].document, "{\"a\": 1}\r\n");
  EXPECT_EQ(service.requests()[0].Header("X-Auth-Token"), "token-1");
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
}

TEST_F(SendTest, Only_the_first_tag_of_the_url_is_replaced) {
  EXPECT_EQ(Sent("/<uuid>/<uuid>", "<uuid>"), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /17/<uuid>"));
}

TEST_F(SendTest, The_identifier_itself_may_hold_the_tag) {
  EXPECT_EQ(Sent("/<uuid>/x", "<uuid>", "<uuid>"), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /<uuid>/x"));
}

TEST_F(SendTest, Any_text_can_be_the_tag) {
  EXPECT_EQ(Sent("/<chassisid>/ID/x", "ID"), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /<chassisid>/17/x"));
}

TEST_F(SendTest, The_tag_is_not_looked_for_in_the_base_url) {
  platform().cloud.url = "https://cloud.example/<uuid>";
  EXPECT_EQ(Sent("/x/<uuid>", "<uuid>"), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /<uuid>/x/17"));
}

TEST_F(SendTest, An_empty_identifier_leaves_nothing_in_place_of_the_tag) {
  EXPECT_EQ(Sent("/a/<slot>/b", "<slot>", ""), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /a//b"));
}

TEST_F(SendTest, A_url_without_its_tag_is_used_unchanged) {
  EXPECT_EQ(Sent("/a/<uuid>/b", "<chassisid>"), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /a/<uuid>/b"));
}

TEST_F(SendTest, An_empty_tag_replaces_nothing) {
  EXPECT_EQ(Sent("/a/b", ""), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /a/b"));
}

TEST_F(SendTest, An_empty_url_is_the_base_url) {
  EXPECT_EQ(Sent("", "<chassisid>"), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH "));
}

TEST_F(SendTest, An_empty_token_all_the_same) {
  platform().cloud.token = "";
  EXPECT_EQ(Sent("/a", ""), 0);
  EXPECT_EQ(service.requests()[0].headerLines.size(), 5u);
  EXPECT_TRUE(service.requests()[0].HasHeader("X-Auth-Token"));
}

TEST_F(SendTest, Nothing_without_the_base_url) {
  platform().cloud.fails["GetUrl"] = 12;
  EXPECT_EQ(Sent("/a", ""), 1);
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(platform().log.Lines(),
              ElementsAre("3 PatchMgr SendResourceToCloud: Failed(12) to get resource URI"));
}

TEST_F(SendTest, Nothing_without_the_token) {
  platform().cloud.fails["GetXAuthToken"] = 13;
  EXPECT_EQ(Sent("/a", ""), 1);
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(platform().log.Lines(),
              ElementsAre("3 PatchMgr SendResourceToCloud: Failed(13) to get xauthtoken"));
}

TEST_F(SendTest, A_refused_document_is_told) {
  service.answers("PATCH", "*", 400);
  EXPECT_EQ(patch.SendResourceToCloud(&client, Resource("/a", ""), "", "{\n \"a\": 1}"), 1);
  EXPECT_THAT(Lines(), ElementsAre("3 SendResourceToCloud: Failed to PATCH :\n{\n \"a\": 1}"));
}

TEST_F(SendTest, A_document_that_was_not_transferred_is_told) {
  service.isDown();
  EXPECT_EQ(Sent("/a", ""), 1);
  EXPECT_THAT(Lines(), ElementsAre("3 SendResourceToCloud: Failed to PATCH :\n{}"));
}

TEST_F(SendTest, Any_of_three_statuses_is_success) {
  for (const long status : {200L, 202L, 204L}) {
    service.answers("PATCH", "*", status);
    EXPECT_EQ(Sent("/a", ""), 0) << status;
  }
  service.answers("PATCH", "*", 201);
  EXPECT_EQ(Sent("/a", ""), 1);
}

// A bare URL.

TEST_F(SendTest, A_bare_url_with_the_chassis_in_it) {
  EXPECT_EQ(patch.SendPatchToCloud(&client, "/c/<chassisid>/<chassisid>/<uuid>", "17", "{}"), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /c/17/<chassisid>/<uuid>"));
  EXPECT_EQ(service.requests()[0].document, "{}");
  EXPECT_EQ(service.requests()[0].Header("X-Auth-Token"), "token-1");
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
}

TEST_F(SendTest, A_bare_url_without_its_tag_is_used_unchanged) {
  EXPECT_EQ(patch.SendPatchToCloud(&client, "/c", "17", ""), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /c"));
}

TEST_F(SendTest, Nothing_to_a_bare_url_without_the_base_url) {
  platform().cloud.fails["GetUrl"] = 12;
  EXPECT_EQ(patch.SendPatchToCloud(&client, "/c", "17", "{}"), 1);
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(platform().log.Lines(),
              ElementsAre("3 PatchMgr SendPatchToCloud: Failed(12) to get chassis URI"));
}

TEST_F(SendTest, Nothing_to_a_bare_url_without_the_token) {
  platform().cloud.fails["GetXAuthToken"] = 13;
  EXPECT_EQ(patch.SendPatchToCloud(&client, "/c", "17", "{}"), 1);
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(platform().log.Lines(),
              ElementsAre("3 PatchMgr SendPatchToCloud: Failed(13) to get xauthtoken"));
}

TEST_F(SendTest, A_document_refused_at_a_bare_url_is_told) {
  service.answers("PATCH", "*", 500);
  EXPECT_EQ(patch.SendPatchToCloud(&client, "/c", "17", "{doc}"), 1);
  EXPECT_THAT(Lines(), ElementsAre("3 SendPatchToCloud: Failed to PATCH :\n{doc}"));
}

}  // namespace
}  // namespace patch_test
