// SPDX-License-Identifier: Apache-2.0
#include <filesystem>
#include <functional>
#include <set>

#include "OutboxTest.h"
#include "base/Policy.h"
#include "fakes/Service.h"
#include "https/HttpsClient.h"
#include "https/Outbox.h"

namespace unit {
namespace {

using cloudclient::HttpsClient;
using cloudclient::Outbox;
using fakes::platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

constexpr char kEvents[] =
    "/redfish/v1/Managers/6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11/Oem/Quorvan:Events";
constexpr char kEvent[] = R"({"@odata.id": "/redfish/v1/Chassis/17"})";
constexpr char kThermal[] = "/redfish/v1/Chassis/17/Thermal";

// A registered appliance with the chassis 17 above a service that takes everything. Each case is a
// process of its own, with its own policy.
class OutboxTest : public OutboxFolderTest {
 protected:
  void SetUp() override {
    OutboxFolderTest::SetUp();
    platform().root = Base();
    platform().cloud.token = "token-1";
    platform().cloud.chassis["17"] = 0;
    uint32_t code = 0;
    ASSERT_EQ(client.InitCurl(code), 0u);
    Use([](cloudclient::Policy::Outbox&) {});
    service.answers("POST", kEvents, 201).answers("PATCH", kThermal, 204);
    // The clock goes with what the case waits.
    platform().log.records.clear();
  }

  static void Use(const std::function<void(cloudclient::Policy::Outbox&)>& change) {
    cloudclient::Policy policy;
    policy.outbox.folder = "/var/outbox";
    policy.outbox.maxBytes = kMaxBytes;
    change(policy.outbox);
    cloudclient::UsePolicy(policy);
  }

  void Send() {
    outbox.Send(&client, [] { return true; });
  }
  static void Wait(time_t seconds) {
    platform().clock.now += seconds;
    platform().clock.monotonicUs += static_cast<uint64_t>(seconds) * 1000000;
  }
  static std::vector<std::string> Lines() { return platform().log.Lines(); }
  // The documents of the events that were posted.
  std::vector<std::string> Posted() const {
    std::vector<std::string> documents;
    for (const fakes::Request& request : service.requests("POST", kEvents)) {
      documents.push_back(request.document);
    }
    return documents;
  }
  // How many records of a file wait.
  static size_t Waiting(const std::string& text) {
    size_t count = text.compare(0, 2, "+ ") == 0 ? 1 : 0;
    for (size_t at = text.find("\n+ "); at != std::string::npos; at = text.find("\n+ ", at + 1)) {
      ++count;
    }
    return count;
  }
  std::set<std::string> Keys() const {
    std::set<std::string> keys;
    for (const fakes::Request& request : service.requests()) {
      keys.insert(request.Header("Message-Key"));
    }
    return keys;
  }

  fakes::Service service;
  HttpsClient client;
  Outbox outbox;
};

TEST_F(OutboxTest, Without_a_folder_in_the_policy_there_is_none) {
  Use([](cloudclient::Policy::Outbox& policy) { policy.folder.clear(); });
  EXPECT_FALSE(Outbox::IsWanted());
  EXPECT_FALSE(outbox.PutEvent(kEvent, "17"));
  EXPECT_FALSE(outbox.PutPatch(kThermal, "{}", "17"));
  EXPECT_TRUE(outbox.IsIdle());
  Send();
  EXPECT_THAT(service.lines(), IsEmpty());
  EXPECT_THAT(Lines(), IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(Folder()));
}

TEST_F(OutboxTest, What_is_put_is_on_the_disk_and_sent_in_order) {
  EXPECT_TRUE(outbox.PutEvent("e1", "17"));
  EXPECT_TRUE(outbox.PutPatch(kThermal, "p1", "17"));
  EXPECT_TRUE(outbox.PutEvent("e2", "17"));
  EXPECT_FALSE(outbox.IsIdle());
  EXPECT_THAT(service.lines(), IsEmpty());
  EXPECT_GT(BytesOnDisk(), 0u);
  Send();
  EXPECT_THAT(service.lines(),
              ElementsAre(std::string("POST ") + kEvents, std::string("PATCH ") + kThermal,
                          std::string("POST ") + kEvents));
  EXPECT_THAT(Posted(), ElementsAre("e1", "e2"));
  EXPECT_EQ(service.requests()[0].Header("X-Auth-Token"), "token-1");
  EXPECT_TRUE(outbox.IsIdle());
  Send();
  EXPECT_THAT(service.lines(), SizeIs(3));
}

TEST_F(OutboxTest, Each_event_has_a_key_of_its_own_that_stays_with_it) {
  outbox.PutEvent("e1", "17");
  outbox.PutEvent("e2", "17");
  service.isDown();
  Send();
  Wait(5);
  Send();
  EXPECT_THAT(Keys(), SizeIs(1));
  service.isDown(CURLE_OK);
  Wait(10);
  Send();
  EXPECT_THAT(Posted(), ElementsAre("e1", "e1", "e1", "e2"));
  EXPECT_THAT(Keys(), SizeIs(2));
  for (const std::string& key : Keys()) EXPECT_THAT(key, MatchesRegex("[0-9a-f]{32}"));
}

TEST_F(OutboxTest, A_patch_has_no_key) {
  outbox.PutPatch(kThermal, "{}", "17");
  Send();
  EXPECT_FALSE(service.requests()[0].HasHeader("Message-Key"));
}

// Seconds of a 400 s outage at which an attempt is made.
TEST_F(OutboxTest, Holds_what_is_not_taken_and_waits_longer_from_time_to_time) {
  service.answers("POST", kEvents, 503);
  outbox.PutEvent("e1", "17");
  std::vector<time_t> attempts;
  for (time_t second = 0; second < 400; ++second, Wait(1)) {
    const size_t before = service.requests().size();
    Send();
    if (service.requests().size() != before) attempts.push_back(second);
  }
  ASSERT_GT(attempts.size(), 8u);
  time_t longest = 5;
  for (size_t i = 1; i < attempts.size(); ++i, longest = std::min<time_t>(2 * longest, 60)) {
    EXPECT_GE(attempts[i] - attempts[i - 1], longest / 2) << i;
    EXPECT_LE(attempts[i] - attempts[i - 1], longest) << i;
  }
  service.answers("POST", kEvents, 201);
  Wait(60);
  Send();
  EXPECT_TRUE(outbox.IsIdle());
  // The next outage begins with the first pause.
  service.isDown();
  outbox.PutEvent("e2", "17");
  Send();
  const size_t before = service.requests().size();
  Wait(5);
  Send();
  EXPECT_EQ(service.requests().size(), before + 1);
}

TEST_F(OutboxTest, No_setting_of_the_clock_moves_a_pause) {
  service.isDown();
  outbox.PutEvent("e1", "17");
  Send();
  service.isDown(CURLE_OK);
  service.forget();
  platform().clock.now += 3600;
  Send();
  EXPECT_THAT(service.lines(), IsEmpty());
  platform().clock.now -= 7200;
  platform().clock.monotonicUs += 5000000;
  Send();
  EXPECT_THAT(Posted(), ElementsAre("e1"));
}

TEST_F(OutboxTest, A_pause_that_somebody_else_begins_holds_it_too) {
  outbox.Hold();
  EXPECT_FALSE(outbox.IsIdle());
  outbox.PutEvent("e1", "17");
  Send();
  EXPECT_THAT(service.lines(), IsEmpty());
  Wait(5);
  Send();
  EXPECT_THAT(Posted(), ElementsAre("e1"));
}

TEST_F(OutboxTest, What_may_pass_is_held) {
  for (const long status : {100, 301, 401, 403, 408, 429, 500, 502, 503, 599}) {
    service.answers("POST", kEvents, status).answers("PATCH", kThermal, status);
    outbox.PutEvent("e" + std::to_string(status), "17");
    Wait(60);
    Send();
    EXPECT_FALSE(outbox.IsIdle()) << status;
    service.answers("POST", kEvents, 200);
    Wait(60);
    Send();
    EXPECT_TRUE(outbox.IsIdle()) << status;
  }
}

TEST_F(OutboxTest, What_is_refused_for_good_is_dropped_with_a_message_and_holds_up_nothing) {
  for (const long status : {400, 404, 405, 409, 413, 422, 431, 499}) {
    platform().log.records.clear();
    service.answersOnce("POST", kEvents, status).answersOnce("PATCH", kThermal, status);
    outbox.PutEvent("bad", "17");
    outbox.PutPatch(kThermal, "bad", "17");
    outbox.PutEvent("good", "17");
    service.forget();
    Send();
    EXPECT_THAT(service.requests(), SizeIs(3)) << status;
    EXPECT_TRUE(outbox.IsIdle());
    const std::string message =
        "3 Outbox Send: the service refuses an entry of the outbox for good (" +
        std::to_string(status) + ")";
    const std::vector<std::string> lines = Lines();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), message), 2) << status;
  }
}

TEST_F(OutboxTest, What_libcurl_did_not_send_is_held_although_it_is_reported_as_done) {
  outbox.PutEvent("e1", "17");
  fakes::curl().refuses[CURLOPT_HEADER] = CURLE_OUT_OF_MEMORY;
  Send();
  EXPECT_THAT(service.lines(), IsEmpty());
  EXPECT_FALSE(outbox.IsIdle());
  fakes::curl().refuses.clear();
  Wait(5);
  Send();
  EXPECT_THAT(Posted(), ElementsAre("e1"));
}

TEST_F(OutboxTest, Nothing_is_sent_without_url_token_UUID_or_chassis) {
  const std::vector<std::pair<std::function<void()>, std::function<void()>>> states = {
      {[] { platform().cloud.token = ""; }, [] { platform().cloud.token = "token-1"; }},
      {[] { platform().cloud.fails["GetXAuthToken"] = 1; }, [] { platform().cloud.fails.clear(); }},
      {[] { platform().cloud.fails["GetUrl"] = 1; }, [] { platform().cloud.fails.clear(); }},
      {[] { platform().cloud.fails["GetUUID"] = 1; }, [] { platform().cloud.fails.clear(); }},
      {[] { platform().cloud.chassis.clear(); }, [] { platform().cloud.chassis["17"] = 0; }}};
  for (const auto& [without, with] : states) {
    outbox.PutEvent("e", "17");
    without();
    service.forget();
    Wait(60);
    Send();
    EXPECT_THAT(service.lines(), IsEmpty());
    EXPECT_FALSE(outbox.IsIdle());
    with();
    Wait(60);
    Send();
    EXPECT_THAT(Posted(), ElementsAre("e"));
  }
  EXPECT_THAT(Lines(), testing::Each(testing::StartsWith("7 ")));
}

TEST_F(OutboxTest, Goes_with_the_chassis_of_a_new_registration) {
  outbox.PutEvent(R"({"a": "/redfish/v1/Chassis/17", "b": "/redfish/v1/Chassis/17/x",)"
                  R"( "c": "/redfish/v1/Chassis/170", "d": "/redfish/v1/Chassis/17 17"})",
                  "17");
  outbox.PutPatch(kThermal, R"({"@odata.id": "/redfish/v1/Chassis/17/Thermal"})", "17");
  platform().cloud.chassis.clear();
  platform().cloud.chassis["4242"] = 0;
  platform().cloud.token = "token-2";
  service.answers("PATCH", "/redfish/v1/Chassis/4242/Thermal", 204);
  Send();
  EXPECT_THAT(Posted(),
              ElementsAre(R"({"a": "/redfish/v1/Chassis/4242", "b": "/redfish/v1/Chassis/4242/x",)"
                          R"( "c": "/redfish/v1/Chassis/170", "d": "/redfish/v1/Chassis/17 17"})"));
  const auto patches = service.requests("PATCH", "/redfish/v1/Chassis/4242/Thermal");
  ASSERT_THAT(patches, SizeIs(1));
  EXPECT_EQ(patches[0].document, R"({"@odata.id": "/redfish/v1/Chassis/4242/Thermal"})");
  EXPECT_EQ(patches[0].Header("X-Auth-Token"), "token-2");
}

TEST_F(OutboxTest, Patches_the_new_chassis_itself) {
  outbox.PutPatch("/redfish/v1/Chassis/17", "{}", "17");
  platform().cloud.chassis.clear();
  platform().cloud.chassis["4242"] = 0;
  Send();
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /redfish/v1/Chassis/4242"));
}

TEST_F(OutboxTest, Takes_no_document_of_no_resource) {
  EXPECT_FALSE(outbox.PutPatch("", "{}", "17"));
  EXPECT_TRUE(outbox.IsIdle());
}

TEST_F(OutboxTest, One_that_gave_way_while_it_was_sent_takes_no_other_with_it) {
  outbox.PutEvent("e1", "17");
  size_t waiting = 0;
  fakes::curl().onPerform = [&](fakes::Transfer& /*transfer*/) {
    fakes::curl().onPerform = nullptr;
    for (int i = 0; i < 200; ++i) outbox.PutEvent(std::to_string(i) + std::string(500, 'x'), "17");
    for (const std::string& name : Names()) waiting += Waiting(Text(FileNamed(name)));
  };
  Send();
  const std::vector<std::string> posted = Posted();
  EXPECT_EQ(posted[0], "e1");
  EXPECT_GT(waiting, 50u);
  EXPECT_THAT(posted, SizeIs(1 + waiting));
}

TEST_F(OutboxTest, Of_several_chassis_keeps_the_one_that_it_names) {
  platform().cloud.chassis["05"] = 1;
  outbox.PutEvent(kEvent, "17");
  Send();
  EXPECT_THAT(Posted(), ElementsAre(kEvent));
}

TEST_F(OutboxTest, Ends_after_the_request_under_way_when_it_is_told_to) {
  for (const char* const document : {"e1", "e2", "e3"}) outbox.PutEvent(document, "17");
  int asked = 0;
  outbox.Send(&client, [&asked] { return ++asked < 3; });
  EXPECT_THAT(Posted(), ElementsAre("e1", "e2"));
  EXPECT_FALSE(outbox.IsIdle());
}

TEST_F(OutboxTest, Sends_300_at_once) {
  for (int i = 0; i < 310; ++i) outbox.PutEvent("e", "17");
  Send();
  EXPECT_THAT(service.requests(), SizeIs(300));
  Send();
  EXPECT_THAT(service.requests(), SizeIs(310));
}

TEST_F(OutboxTest, What_has_become_too_old_is_dropped_with_one_message) {
  Use([](cloudclient::Policy::Outbox& policy) { policy.maxDays = 2; });
  outbox.PutEvent("old", "17");
  outbox.PutEvent("old", "17");
  Wait(1);
  outbox.PutEvent("new", "17");
  Wait(2 * 86400);
  Send();
  EXPECT_THAT(Posted(), ElementsAre("new"));
  EXPECT_THAT(Lines(), testing::Contains("4 Outbox Send: 2 entries of the outbox were too old"));
}

TEST_F(OutboxTest, What_was_put_before_the_clock_was_set_has_no_age) {
  platform().clock.now = 100;
  outbox.PutEvent("e1", "17");
  platform().clock.now = 1772716029;
  Send();
  EXPECT_THAT(Posted(), ElementsAre("e1"));
}

TEST_F(OutboxTest, The_oldest_give_way_with_one_message_for_each_time_it_is_full) {
  const std::string full = "4 Outbox Put: the outbox is full: the oldest entries give way";
  const auto count = [&full] {
    const std::vector<std::string> lines = Lines();
    return std::count(lines.begin(), lines.end(), full);
  };
  for (int i = 0; i < 200; ++i) outbox.PutEvent(std::string(500, 'x'), "17");
  EXPECT_EQ(count(), 1);
  Send();
  EXPECT_TRUE(outbox.IsIdle());
  for (int i = 0; i < 200; ++i) outbox.PutEvent(std::string(500, 'x'), "17");
  EXPECT_EQ(count(), 2);
}

TEST_F(OutboxTest, A_folder_that_can_not_be_had_is_told_once_and_used_as_soon_as_it_can) {
  Write(Base() + "/var", "in the way");
  EXPECT_FALSE(outbox.PutEvent("e1", "17"));
  EXPECT_FALSE(outbox.PutEvent("e2", "17"));
  EXPECT_TRUE(outbox.IsIdle());
  EXPECT_THAT(Lines(), ElementsAre("3 Outbox Open: Failed to open the outbox (" + Folder() +
                                   ": Not a directory): events go out without it"));
  std::filesystem::remove(Base() + "/var");
  EXPECT_TRUE(outbox.PutEvent("e3", "17"));
}

TEST_F(OutboxTest, Says_what_an_earlier_process_left) {
  {
    Outbox earlier;
    earlier.PutEvent("e1", "17");
    earlier.PutEvent("e2", "17");
  }
  Write(FileNamed("00000002.outbox"), "no entry");
  Send();
  EXPECT_THAT(Posted(), ElementsAre("e1", "e2"));
  EXPECT_THAT(Lines(),
              testing::IsSupersetOf({"4 Outbox Open: 8 bytes in /var/outbox are no entries",
                                     "5 Outbox Open: 2 entries wait for the service"}));
}

TEST_F(OutboxTest, One_that_can_not_be_put_is_told_each_time) {
  EXPECT_FALSE(outbox.PutEvent(std::string(kMaxBytes, 'x'), "17"));
  EXPECT_THAT(Lines(), ElementsAre(testing::MatchesRegex(
                           "3 Outbox Put: Failed to put an entry into the outbox \\(an entry of "
                           "[0-9]+ bytes\\)")));
  EXPECT_TRUE(outbox.IsIdle());
}

TEST_F(OutboxTest, What_was_removed_is_told_and_passed_over) {
  outbox.PutEvent("e1", "17");
  std::filesystem::remove(FileNamed("00000001.outbox"));
  Send();
  EXPECT_THAT(Posted(), IsEmpty());
  EXPECT_THAT(Lines(),
              ElementsAre("3 Outbox Send: 1 entries of the outbox were removed or damaged"));
}

TEST_F(OutboxTest, What_can_not_be_read_at_present_is_told_and_held) {
  outbox.PutEvent("e1", "17");
  const std::string path = FileNamed("00000001.outbox");
  std::filesystem::rename(path, path + ".kept");
  std::filesystem::create_symlink(path, path);
  Send();
  EXPECT_THAT(Lines(), ElementsAre("3 Outbox Send: Failed to read the outbox (" + path +
                                   ": Too many levels of symbolic links)"));
  std::filesystem::remove(path);
  std::filesystem::rename(path + ".kept", path);
  Send();
  EXPECT_THAT(Posted(), IsEmpty());
  Wait(5);
  Send();
  EXPECT_THAT(Posted(), ElementsAre("e1"));
}

TEST_F(OutboxTest, Any_answer_of_success_takes_it) {
  for (const long status : {200, 201, 202, 204, 299}) {
    service.answers("POST", kEvents, status);
    outbox.PutEvent("e1", "17");
    Send();
    EXPECT_TRUE(outbox.IsIdle()) << status;
  }
}

}  // namespace
}  // namespace unit
