// SPDX-License-Identifier: Apache-2.0
#include "CoreTest.h"

namespace device_core {

using testing::ElementsAre;
using testing::IsEmpty;

class HeartbeatTest : public CoreTest {};

TEST_F(HeartbeatTest, Posts_a_document_that_names_its_own_url) {
  mgr->SendHeartbeat();
  ASSERT_EQ(service.requests().size(), 1u);
  const fakes::Request& request = service.requests()[0];
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.url, std::string("https://cloud.example/hb/") + kUuid);
  EXPECT_EQ(request.document,
            "{\"HeartbeatDestination\": "
            "\"https://cloud.example/hb/6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11\", "
            "\"HeartbeatInterval\": 90}");
  EXPECT_EQ(request.Header("X-Auth-Token"), "token-1");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(HeartbeatTest, Reads_its_values_afresh_each_time) {
  mgr->SendHeartbeat();
  platform.cloud.url = "https://other.example";
  platform.cloud.uuid = "second";
  platform.cloud.token = "token-2";
  mgr->SendHeartbeat();
  ASSERT_EQ(service.requests().size(), 2u);
  EXPECT_EQ(service.requests()[1].url, "https://other.example/hb/second");
  EXPECT_EQ(service.requests()[1].Header("X-Auth-Token"), "token-2");
}

TEST_F(HeartbeatTest, Is_sent_with_an_empty_identifier) {
  platform.cloud.uuid = "";
  service.answers("POST", "/hb/", 200);
  mgr->SendHeartbeat();
  EXPECT_THAT(service.lines(), ElementsAre("POST /hb/"));
  EXPECT_EQ(service.requests()[0].document,
            "{\"HeartbeatDestination\": \"https://cloud.example/hb/\", \"HeartbeatInterval\": 90}");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(HeartbeatTest, Is_sent_with_an_empty_token_that_no_header_carries) {
  platform.cloud.token = "";
  mgr->SendHeartbeat();
  ASSERT_EQ(service.requests().size(), 1u);
  EXPECT_FALSE(service.requests()[0].HasHeader("X-Auth-Token"));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(HeartbeatTest, Is_not_sent_without_a_url) {
  platform.cloud.fails = {{"GetUrl", 4}, {"GetXAuthToken", 4}, {"GetUUID", 4}};
  mgr->SendHeartbeat();
  EXPECT_THAT(Lines(), ElementsAre("3 SendHeartbeat: Failed to get cloud service URL"));
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(HeartbeatTest, Is_not_sent_without_a_token) {
  platform.cloud.fails = {{"GetXAuthToken", 4}, {"GetUUID", 4}};
  mgr->SendHeartbeat();
  EXPECT_THAT(Lines(), ElementsAre("3 SendHeartbeat: missing the xauthtoken "));
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(HeartbeatTest, Is_not_sent_without_an_identifier) {
  platform.cloud.fails = {{"GetUUID", 4}};
  mgr->SendHeartbeat();
  EXPECT_THAT(Lines(), ElementsAre("3 SendHeartbeat: Failed to get the UUID"));
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(HeartbeatTest, Failed_in_transport_gives_two_lines_and_is_not_repeated) {
  service.isDown();
  mgr->SendHeartbeat();
  EXPECT_THAT(Lines(),
              ElementsAre("3 SendHeartbeat: heartbeat failed",
                          "7 SendHeartbeat: heartbeat failed: response: 4  resp:   hdr: "));
  EXPECT_EQ(service.requests().size(), 1u);
}

TEST_F(HeartbeatTest, Refused_shows_the_answer) {
  service.answers("POST", kHeartbeatPath, 500, "no", {"Server: x"});
  mgr->SendHeartbeat();
  const std::string header = fakes::HeaderBlock(500, {"Server: x"});
  EXPECT_THAT(Lines(), ElementsAre("3 SendHeartbeat: heartbeat failed",
                                   "7 SendHeartbeat: heartbeat failed: response: 6  resp: " +
                                       header + "no  hdr: " + header));
  EXPECT_EQ(service.requests().size(), 1u);
}

}  // namespace device_core
