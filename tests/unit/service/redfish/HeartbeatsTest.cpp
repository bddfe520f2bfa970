// SPDX-License-Identifier: Apache-2.0
#include <future>
#include <optional>

#include "ServiceTest.h"

namespace cloudservice {
namespace {

using testing::EndsWith;

class HeartbeatsTest : public ServiceTest {
 protected:
  Response Beat(const std::string& interval = "90") {
    return Ask(
        "POST", "/hb/u-1", token,
        R"({"HeartbeatDestination": "https://x/hb/u-1", "HeartbeatInterval": )" + interval + "}");
  }
  Json Manager() { return Got(200, Ask("GET", "/redfish/v1/Managers/u-1", token)); }
  Json Shown() { return Manager().at("Oem").at("Quorvan").at("Heartbeat"); }

  const std::string token = Token("u-1");
};

TEST_F(HeartbeatsTest, Before_the_first_the_registration_stands_for_one_of_120_seconds) {
  now += 3 * 120 - 1;
  EXPECT_EQ(
      Shown(),
      Json({{"Count", 0}, {"Last", nullptr}, {"IntervalSeconds", nullptr}, {"Overdue", false}}));
  EXPECT_EQ(Manager().at("Status").at("State"), "Enabled");
  ++now;
  EXPECT_EQ(
      Shown(),
      Json({{"Count", 0}, {"Last", nullptr}, {"IntervalSeconds", nullptr}, {"Overdue", true}}));
  EXPECT_EQ(Manager().at("Status").at("State"), "UnavailableOffline");
}

TEST_F(HeartbeatsTest, Count_time_and_interval_are_kept) {
  EXPECT_EQ(Beat().status, 200u);
  now += 95;
  EXPECT_EQ(Beat("60").status, 200u);
  EXPECT_THAT(lines.back(), EndsWith(" heartbeat 2 from Unit 7 (UUID u-1)"));
  EXPECT_EQ(
      Shown(),
      Json(
          {{"Count", 2}, {"Last", RedfishTime(now)}, {"IntervalSeconds", 60}, {"Overdue", false}}));
}

TEST_F(HeartbeatsTest, Is_taken_without_a_look_at_the_managers_document) {
  const std::string document = "/redfish/v1/Chassis/" + Chassis(token) + "/Thermal";
  // A statement that reads the table fails from now on.
  store->Execute("DROP TABLE manager_document");
  EXPECT_EQ(Beat().status, 200u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers?uuid=u-1", token).status, 302u);
  EXPECT_EQ(Ask("PATCH", document, token, R"({"A": 1})").status, 204u);
  EXPECT_EQ(Ask("GET", document, token).status, 200u);
  EXPECT_EQ(Ask("GET", "/redfish/v1/Managers/u-1", token).status, 500u);
}

// A change of an appliance for which no thread waits.
class BegunTest : public HeartbeatsTest {
 protected:
  // The answer; none when a thread has to wait for it.
  std::optional<Response> Begin(const std::string& method, const std::string& target,
                                const std::string& body, const std::string& sent) {
    std::promise<MakeAnswer> made;
    const auto request =
        std::make_shared<const Request>(Request{method, target, body, sent, "192.0.2.7"});
    if (!service->Begin(request, [&](MakeAnswer make) { made.set_value(std::move(make)); })) {
      return std::nullopt;
    }
    return made.get_future().get()();
  }
  std::optional<Response> BeginBeat(const std::string& body = R"({"HeartbeatInterval": 90})") {
    return Begin("POST", "/hb/u-1", body, token);
  }
};

TEST_F(BegunTest, Is_answered_as_any_other) {
  EXPECT_FALSE(BeginBeat()) << "the sender is not known yet";
  Beat();
  const std::optional<Response> response = BeginBeat();
  ASSERT_TRUE(response);
  EXPECT_EQ(Got(200, *response).at("Count"), 2);
  EXPECT_EQ(Header(*response, "OData-Version"), "4.0");
  EXPECT_THAT(lines.back(), EndsWith(" heartbeat 2 from Unit 7 (UUID u-1)"));
  EXPECT_EQ(Shown().at("Count"), 2);
}

TEST_F(BegunTest, May_be_any_small_change_of_a_sender_who_is_known) {
  Beat();
  const std::string chassis = "/redfish/v1/Chassis/" + Chassis(token);
  const auto patched = Begin("PATCH", chassis + "/Thermal", R"({"A": 1})", token);
  ASSERT_TRUE(patched);
  EXPECT_EQ(patched->status, 204u);
  EXPECT_EQ(Got(200, Ask("GET", chassis + "/Thermal", token)).at("Oem").at("Quorvan").at("A"), 1);
  const auto removed = Begin("DELETE", chassis, "", token);
  ASSERT_TRUE(removed);
  EXPECT_EQ(removed->status, 204u);
  const auto elsewhere = Begin("PATCH", chassis + "/Thermal", "{}", token);
  ASSERT_TRUE(elsewhere);
  EXPECT_EQ(elsewhere->status, 404u);
}

TEST_F(BegunTest, Is_refused_to_who_is_not_known_any_more) {
  Beat();
  (*store)->DeleteManager("u-1");
  const std::optional<Response> response = BeginBeat();
  ASSERT_TRUE(response);
  EXPECT_EQ(response->status, 401u);
  EXPECT_FALSE(BeginBeat()) << "it is not taken for one who is known again";
}

TEST_F(BegunTest, Needs_a_thread_where_it_takes_long_or_nobody_can_say_what_is_wrong) {
  Beat();
  const std::string large(5000, ' ');
  EXPECT_FALSE(BeginBeat(R"({"HeartbeatInterval": 90})" + large));
  EXPECT_FALSE(BeginBeat("{"));
  EXPECT_FALSE(Begin("PATCH", "/hb/u-1", "{}", token));
  EXPECT_FALSE(Begin("GET", "/redfish/v1/Managers/u-1", "", token));
  EXPECT_FALSE(Begin("POST", "/hb/u-1", R"({"HeartbeatInterval": 90})", ""));
  EXPECT_FALSE(Begin("POST", kRegistration, R"({"UUID": "u-2"})", token)) << "a key is checked";
  EXPECT_EQ(Shown().at("Count"), 1);
  const auto wrong = BeginBeat("{}");
  ASSERT_TRUE(wrong);
  EXPECT_EQ(wrong->status, 400u);
}

TEST_F(HeartbeatsTest, Changes_that_they_make_go_after_ten_minutes) {
  for (int i = 0; i < 5; ++i) Beat();
  const std::int64_t last = (*store)->LastChange();
  const std::int64_t count = store->Count("change");
  EXPECT_GT(count, 5);
  store->Execute("UPDATE change SET time = " + std::to_string(now));
  now += 600;
  EXPECT_FALSE(cleanUp->RemoveLeft());
  EXPECT_EQ(store->Count("change"), count);
  ++now;
  EXPECT_FALSE(cleanUp->RemoveLeft());
  EXPECT_EQ(store->Count("change"), 1) << "the last one stays";
  EXPECT_EQ((*store)->LastChange(), last);
}

TEST_F(HeartbeatsTest, Overdue_by_twice_the_interval_is_offline_until_the_next) {
  Beat();
  now += 90 + 2 * 90 - 1;
  EXPECT_EQ(Shown().at("Overdue"), false);
  EXPECT_EQ(Manager().at("Status").at("State"), "Enabled");
  now += 1;
  EXPECT_EQ(Shown().at("Overdue"), true);
  EXPECT_EQ(Manager().at("Status").at("State"), "UnavailableOffline");
  Beat();
  EXPECT_EQ(Shown().at("Overdue"), false);
}

TEST_F(HeartbeatsTest, Status_that_the_appliance_sends_is_shown_while_it_is_alive) {
  Beat();
  Ask("PATCH", "/redfish/v1/Managers/u-1", token,
      R"({"Status": {"State": "Updating", "Health": "OK"}})");
  EXPECT_EQ(Manager().at("Status"), Json({{"State", "Updating"}, {"Health", "OK"}}));
  now += 1000;
  EXPECT_EQ(Manager().at("Status"), Json({{"State", "UnavailableOffline"}, {"Health", "OK"}}));
}

TEST_F(HeartbeatsTest, Clock_that_went_backwards_makes_nothing_overdue) {
  Beat();
  now -= 100000;
  EXPECT_EQ(Shown().at("Overdue"), false);
}

TEST_F(HeartbeatsTest, Clock_that_was_set_back_is_one_line_for_a_fleet) {
  store->Write([&](Transaction& fleet) {
    for (int i = 0; i < 1001; ++i) {
      const std::string uuid = "of-the-fleet-" + std::to_string(i);
      fleet.AddManager({uuid, uuid, "{}", now, {}}, uuid);
      fleet.AddHeartbeat(uuid, now, 90, "");
    }
  });
  now -= 100000;
  const std::size_t said = lines.size();
  EXPECT_TRUE(cleanUp->Step()) << "it takes some of them";
  EXPECT_EQ(lines.size(), said);
  while (cleanUp->Step()) {
  }
  ASSERT_EQ(lines.size(), said + 1);
  EXPECT_THAT(lines.back(), EndsWith("last heartbeats that count as of now: 1001"));
}

TEST_F(HeartbeatsTest, Clock_that_was_set_back_keeps_nobody_alive_for_as_long) {
  Beat();
  now -= 100000;
  cleanUp->Step();
  EXPECT_EQ(Shown().at("Last"), RedfishTime(now));
  EXPECT_THAT(lines.back(),
              EndsWith(" the clock was set back: last heartbeats that count as of now: 1"));
  const std::size_t said = lines.size();
  now += 3 * 90;
  cleanUp->Step();
  EXPECT_EQ(Shown().at("Overdue"), true);
  EXPECT_EQ(lines.size(), said);
}

TEST_F(HeartbeatsTest, What_is_no_interval_is_refused_and_not_counted) {
  for (const char* interval :
       {"0", "-1", "\"90\"", "null", "1.5", "99999999999", "[]", "18446744073709551615"}) {
    EXPECT_EQ(Beat(interval).status, 400u) << interval;
  }
  EXPECT_EQ(Ask("POST", "/hb/u-1", token, "{}").status, 400u);
  EXPECT_EQ(Ask("POST", "/hb/u-1", token, R"({"HeartbeatInterval": 90, "HeartbeatDestination": 1})")
                .status,
            400u);
  EXPECT_EQ(Shown().at("Count"), 0);
}

TEST_F(HeartbeatsTest, Unknown_or_unnamed_appliance_is_not_counted) {
  EXPECT_EQ(Ask("POST", "/hb/u-2", token, R"({"HeartbeatInterval": 90})").status, 404u);
  EXPECT_EQ(Ask("POST", "/hb/", token, R"({"HeartbeatInterval": 90})").status, 404u);
  EXPECT_EQ(Ask("POST", "/hb/u-1", "", R"({"HeartbeatInterval": 90})").status, 401u);
}

}  // namespace
}  // namespace cloudservice
