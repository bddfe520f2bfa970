// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "Fleet.h"

namespace fleet {
namespace {

class FleetTest : public testing::Test {
 protected:
  static Answer Beat(int count) {
    return {200,
            "{\"Count\":" + std::to_string(count) +
                ",\"IntervalSeconds\":90,\"Last\":\"2026-03-05T14:07:09+01:00\","
                "\"Overdue\":false}",
            "", ""};
  }

  Fleet m_fleet{2, "service.example:8443", 2, true};
};

TEST_F(FleetTest, A_heartbeat_has_the_bytes_of_an_appliance) {
  const Identity appliance = IdentityOf(1);
  EXPECT_EQ(appliance.token.size(), 64U);
  EXPECT_EQ(m_fleet.Request(Kind::kBeat, 1),
            "POST /hb/f1ee7000-5a54-4a0e-9d0b-000000000001 HTTP/1.1\r\n"
            "Host: 192.0.2.7\r\n"
            "Content-Type: application/json\r\n"
            "Content-Length: 121\r\n"
            "Accept: application/json\r\n"
            "X-Auth-Token: " +
                appliance.token +
                "\r\n\r\n"
                "{\"HeartbeatDestination\": \"https://service.example:8443/hb/"
                "f1ee7000-5a54-4a0e-9d0b-000000000001\", \"HeartbeatInterval\": 90}");
}

TEST_F(FleetTest, A_raised_alarm_has_the_bytes_of_an_appliance) {
  const Identity appliance = {"u", "t", "50a593d0a5bf50ab"};
  const std::string document = EventDocument(appliance, 4711, "Alarm");
  const std::string before =
      "{ \"MessageId\": \"Zarvel.GDD.4711:0\",\"Severity\": \"Alarm\",\"MessageArgs\": "
      "[\"Unit1\",\"System\",\"0\", null],\"Message\": \"[1] Filter clogged.\","
      "\"OriginOfCondition\": {\"@odata.id\": \"/redfish/v1/Chassis/50a593d0a5bf50ab\"}, "
      "\"Created\": \"";
  EXPECT_EQ(document.substr(0, before.size()), before);
  EXPECT_EQ(document.size(), 246U);
}

TEST_F(FleetTest, A_cleared_alarm_names_it) {
  const std::string request = m_fleet.Request(Kind::kClear, 0);
  EXPECT_NE(request.find("{ \"MessageId\": \"258\",\"Severity\": \"MESSAGE\",\"MessageArgs\": "
                         "[\"Unit1\",\"System\",\""),
            std::string::npos);
  EXPECT_NE(
      request.find("\",\"Zarvel.GDD.4711:0\"],\"Message\": \"[1] Filter clogged (Cleared).\","),
      std::string::npos);
  EXPECT_NE(request.find("Content-Length: 281\r\n"), std::string::npos);
}

TEST_F(FleetTest, Heartbeats_are_counted_without_a_gap) {
  EXPECT_EQ(m_fleet.Check(Kind::kBeat, 1, Beat(7)), "");
  EXPECT_EQ(m_fleet.Check(Kind::kBeat, 1, Beat(8)), "");
  EXPECT_EQ(m_fleet.Check(Kind::kBeat, 1, Beat(10)), "counted heartbeat 10 after 8");
  EXPECT_EQ(m_fleet.Check(Kind::kBeat, 0, Beat(1)), "");
}

TEST_F(FleetTest, A_heartbeat_without_an_answer_may_count_or_not) {
  EXPECT_EQ(m_fleet.Check(Kind::kBeat, 1, Beat(7)), "");
  m_fleet.Lost(Kind::kBeat, 1);
  EXPECT_EQ(m_fleet.Check(Kind::kBeat, 1, Beat(9)), "");
}

TEST_F(FleetTest, A_bare_server_counts_nothing) {
  Fleet fleet(1, "service.example:8443", -1, false);
  EXPECT_EQ(fleet.Check(Kind::kBeat, 0, Beat(1)), "");
  EXPECT_EQ(fleet.Check(Kind::kBeat, 0, Beat(1)), "");
}

TEST_F(FleetTest, Heartbeats_that_are_gone_are_found_when_read_back) {
  EXPECT_EQ(m_fleet.Check(Kind::kBeat, 1, Beat(7)), "");
  EXPECT_EQ(m_fleet.Check(Kind::kReadBeat, 1, {200, "{\"Count\":7}", "", ""}), "");
  EXPECT_EQ(m_fleet.Check(Kind::kReadBeat, 1, {200, "{\"Count\":6}", "", ""}),
            "lost heartbeats: 7 were answered, 6 are there");
}

TEST_F(FleetTest, A_value_that_was_answered_is_looked_for) {
  EXPECT_NE(m_fleet.Request(Kind::kValue, 0).find("\"ReadingCelsius\": 15.2}"), std::string::npos);
  EXPECT_EQ(m_fleet.Check(Kind::kValue, 0, {204, "", "", ""}), "");
  const Answer there = {200, "{\"ReadingCelsius\":15.2}", "", ""};
  const Answer older = {200, "{\"ReadingCelsius\":15.1}", "", ""};
  EXPECT_EQ(m_fleet.Check(Kind::kReadValue, 0, there), "");
  EXPECT_NE(m_fleet.Check(Kind::kReadValue, 0, older), "");
  m_fleet.Lost(Kind::kValue, 0);
  EXPECT_EQ(m_fleet.Check(Kind::kReadValue, 0, older), "");
}

TEST_F(FleetTest, Values_that_follow_one_another_differ) {
  std::string last;
  for (int i = 0; i < 400; ++i) {
    const std::string document = ThermalDocument(i);
    EXPECT_NE(document, last);
    EXPECT_EQ(document.find(".0"), std::string::npos);
    last = document;
  }
}

TEST_F(FleetTest, Another_status_or_content_is_a_problem) {
  EXPECT_EQ(m_fleet.Check(Kind::kBeat, 1, {401, "no", "", ""}), "answered 401 no");
  EXPECT_NE(m_fleet.Check(Kind::kBeat, 1, {200, "{}", "", ""}), "");
  EXPECT_NE(m_fleet.Check(Kind::kValue, 1, {204, "more", "", ""}), "");
  EXPECT_NE(m_fleet.Check(Kind::kRaise, 1, {201, "{}", "", ""}), "");
  EXPECT_NE(m_fleet.Check(Kind::kView, 1, {200, "{\"total\":0,\"items\":[]}", "", ""}), "");
}

TEST_F(FleetTest, An_event_is_answered_by_itself) {
  const std::string path = "/redfish/v1/Oem/Quorvan:Events/5";
  const Answer raised = {201, "{\"MessageId\":\"Zarvel.GDD.4711:0\"}", path, ""};
  const Answer cleared = {201, "{\"MessageId\":\"258\"}", path, ""};
  EXPECT_EQ(m_fleet.Check(Kind::kRaise, 0, raised), "");
  EXPECT_EQ(m_fleet.Check(Kind::kClear, 0, cleared), "");
  EXPECT_NE(m_fleet.Check(Kind::kRaise, 0, cleared), "");
  EXPECT_NE(m_fleet.Check(Kind::kClear, 0, raised), "");
}

TEST_F(FleetTest, A_registered_appliance_uses_what_it_was_given) {
  EXPECT_EQ(m_fleet.Request(Kind::kRegister, 0).find("X-Auth-Token"), std::string::npos);
  EXPECT_EQ(m_fleet.Check(Kind::kRegister, 0, {201, "{}", "/redfish/v1/Managers/u", "given"}), "");
  EXPECT_EQ(m_fleet.Check(Kind::kChassis, 0, {201, "{}", "/redfish/v1/Chassis/c9", ""}), "");
  const std::string request = m_fleet.Request(Kind::kValue, 0);
  EXPECT_NE(request.find("PATCH /redfish/v1/Chassis/c9/Thermal HTTP/1.1\r\n"), std::string::npos);
  EXPECT_NE(request.find("X-Auth-Token: given\r\n"), std::string::npos);
  EXPECT_EQ(m_fleet.Check(Kind::kBeat, 0, Beat(2)), "counted heartbeat 2 after 0");
}

TEST_F(FleetTest, A_registration_gives_a_token_and_a_chassis) {
  EXPECT_NE(m_fleet.Check(Kind::kRegister, 0, {201, "{}", "/redfish/v1/Managers/u", ""}), "");
  EXPECT_NE(m_fleet.Check(Kind::kChassis, 0, {201, "{}", "", ""}), "");
}

TEST_F(FleetTest, A_search_goes_on_where_it_ended) {
  EXPECT_EQ(m_fleet.Request(Kind::kSearch, 0).find("&before="), std::string::npos);
  EXPECT_EQ(m_fleet.Check(Kind::kSearch, 0, {200, "{\"items\":[],\"next\":77}", "", ""}), "");
  EXPECT_NE(m_fleet.Request(Kind::kSearch, 1).find("&before=77 "), std::string::npos);
  EXPECT_EQ(m_fleet.Check(Kind::kSearch, 1, {200, "{\"items\":[],\"next\":null}", "", ""}), "");
  EXPECT_EQ(m_fleet.Request(Kind::kSearch, 2).find("&before="), std::string::npos);
}

TEST_F(FleetTest, A_wrong_password_is_refused_or_put_off) {
  EXPECT_EQ(m_fleet.Check(Kind::kWrongPassword, 9, {401, "", "", ""}), "");
  EXPECT_EQ(m_fleet.Check(Kind::kWrongPassword, 9, {429, "", "", ""}), "");
  EXPECT_NE(m_fleet.Check(Kind::kWrongPassword, 9, {200, "", "", ""}), "");
}

}  // namespace
}  // namespace fleet
