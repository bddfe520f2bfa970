// SPDX-License-Identifier: Apache-2.0
#include <thread>

#include "ServiceTest.h"

namespace cloudservice {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class EventsTest : public ServiceTest {
 protected:
  std::string Active(const std::string& messageId, const std::string& severity,
                     const std::string& of) const {
    return R"({ "MessageId": ")" + messageId + R"(","Severity": ")" + severity +
           R"(","MessageArgs": ["Unit1","System","2", null],"Message": "Filter clogged.",)" +
           R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/)" + of +
           R"("}, "Created": "2016-05-04T13:02:11-0500"})";
  }
  std::string Clearing(const std::string& messageId, const std::string& of) const {
    return R"({ "MessageId": "258","Severity": "MESSAGE","MessageArgs": ["Unit1","System","",")" +
           messageId +
           R"("],"Message": "Filter clogged (Cleared).","OriginOfCondition": )"
           R"({"@odata.id": "/redfish/v1/Chassis/)" +
           of + R"("}, "Created": ""})";
  }
  Response Post(const std::string& body) {
    return Ask("POST", "/redfish/v1/Managers/u-1/Oem/Quorvan:Events", token, body);
  }
  Response PostAs(const std::string& key, const std::string& body, const std::string& uuid = "u-1",
                  const std::optional<std::string>& with = std::nullopt) {
    return Ask("POST", "/redfish/v1/Managers/" + uuid + "/Oem/Quorvan:Events", with.value_or(token),
               body, {{"message-KEY", key}});
  }
  // Posts and returns the event's path.
  std::string Posted(const std::string& body) {
    const Response response = Post(body);
    EXPECT_EQ(response.status, 201u) << response.body;
    return Header(response, "Location");
  }
  // The paths that the list query answers, or without a query the members of the collection.
  std::vector<std::string> List(const std::string& query, const std::string& with) {
    std::vector<std::string> paths;
    Json list = Got(200, Ask("GET", "/redfish/v1/Oem/Quorvan:Events" + query, with));
    EXPECT_EQ(list.is_array(), !query.empty());
    for (const Json& entry : list.is_array() ? list : list.at("Members")) {
      EXPECT_EQ(entry.size(), 1u);
      paths.push_back(entry.at("@odata.id"));
    }
    return paths;
  }
  std::vector<std::string> Open(const std::string& severity) {
    return List("?OriginOfCondition=" + chassis + "&Cleared=false&Severity=" + severity, token);
  }

  using Paths = std::vector<std::string>;
  const std::string token = Token("u-1");
  const std::string chassis = Chassis(token);
};

TEST_F(EventsTest, Alarm_is_opened_and_read_back_as_it_was_sent) {
  const std::string path = Posted(Active("Zarvel.GDD.4711:2", "Alarm", chassis));
  EXPECT_THAT(
      lines.back(),
      EndsWith(" alarm open: Zarvel.GDD.4711:2 Alarm \"Filter clogged.\" on chassis " + chassis));
  EXPECT_EQ(Open("Alarm"), Paths{path});
  const Json event = Got(200, Ask("GET", path, token));
  EXPECT_EQ(event.at("MessageId"), "Zarvel.GDD.4711:2");
  EXPECT_EQ(event.at("Severity"), "Alarm");
  EXPECT_EQ(event.at("MessageArgs"), Json::array({"Unit1", "System", "2", nullptr}));
  EXPECT_EQ(event.at("Message"), "Filter clogged.");
  EXPECT_EQ(event.at("Created"), "2016-05-04T13:02:11-05:00");
  EXPECT_EQ(event.at("Received"), RedfishTime(now));
}

TEST_F(EventsTest, Stored_text_is_byte_for_byte_what_was_sent) {
  const std::string sent = Active("Zarvel.GDD.1", "Alarm", chassis);
  const std::string path = Posted(sent);
  EXPECT_EQ((*store)->FindEvent("u-1", std::stoll(path.substr(path.rfind('/') + 1)))->document,
            sent);
}

TEST_F(EventsTest, Post_that_is_repeated_with_its_key_is_answered_as_before_and_stored_once) {
  const Response first = PostAs("k-1", Active("Zarvel.GDD.1", "Alarm", chassis));
  ASSERT_EQ(first.status, 201u);
  now += 100;
  const Response again = PostAs("k-1", Active("Zarvel.GDD.1", "Alarm", chassis));
  EXPECT_EQ(again.status, 201u);
  EXPECT_EQ(again.body, first.body);
  EXPECT_EQ(again.headers, first.headers);
  EXPECT_EQ(List("", token), Paths{Header(first, "Location")});
  EXPECT_THAT(lines.back(), EndsWith(" event posted again: " + Header(first, "Location")));
}

TEST_F(EventsTest, Posts_of_one_key_that_come_at_once_are_one) {
  Log none{[](const std::string&) {}, [this] { return now; }};
  const std::unique_ptr<Store> plain = OpenTested(folder.File("service.db"), MissingFile::kRefuse);
  RedfishService shared(*plain, none, *accounts, [this] { return now; });
  const Request post = {"POST",
                        "/redfish/v1/Managers/u-1/Oem/Quorvan:Events",
                        Active("Zarvel.GDD.1", "Alarm", chassis),
                        token,
                        "192.0.2.7",
                        {{"Message-Key", "k-1"}}};
  std::vector<Response> answers(8);
  std::vector<std::thread> threads;
  threads.reserve(answers.size());
  for (Response& answer : answers) {
    threads.emplace_back([&] { answer = shared.Handle(post); });
  }
  for (std::thread& thread : threads) thread.join();
  const Paths events = List("", token);
  ASSERT_EQ(events.size(), 1u);
  for (const Response& answer : answers) {
    EXPECT_EQ(answer.status, 201u) << answer.body;
    EXPECT_EQ(Header(answer, "Location"), events[0]);
  }
}

TEST_F(EventsTest, Alarm_that_was_cleared_stays_so_when_its_post_is_repeated) {
  PostAs("k-1", Active("Zarvel.GDD.1", "Alarm", chassis));
  PostAs("k-2", Clearing("Zarvel.GDD.1", chassis));
  EXPECT_EQ(PostAs("k-1", Active("Zarvel.GDD.1", "Alarm", chassis)).status, 201u);
  EXPECT_EQ(Open("Alarm"), Paths{});
}

TEST_F(EventsTest, Key_with_another_event_is_a_conflict_and_stores_nothing) {
  const Response first = PostAs("k-1", Active("Zarvel.GDD.1", "Alarm", chassis));
  const Response other = PostAs("k-1", Active("Zarvel.GDD.2", "Alarm", chassis));
  EXPECT_EQ(other.status, 409u);
  EXPECT_EQ(ErrorText(other), "Another event was posted with this Message-Key.");
  EXPECT_EQ(List("", token), Paths{Header(first, "Location")});
}

TEST_F(EventsTest, Key_of_a_post_that_was_refused_is_free) {
  EXPECT_EQ(PostAs("k-1", R"({"MessageId": "x"})").status, 400u);
  EXPECT_EQ(PostAs("k-1", Active("Zarvel.GDD.1", "Alarm", chassis)).status, 201u);
}

TEST_F(EventsTest, Key_belongs_to_one_manager_and_goes_with_it) {
  const std::string message = R"({"MessageId": "x", "Severity": "MESSAGE", "Message": "m"})";
  const std::string path = Header(PostAs("k-1", message), "Location");
  const std::string other = Token("u-2");
  const Response foreign = PostAs("k-1", message, "u-2", other);
  EXPECT_EQ(foreign.status, 201u);
  EXPECT_NE(Header(foreign, "Location"), path);
  const std::string anew = Token("u-1");
  EXPECT_NE(Header(PostAs("k-1", message, "u-1", anew), "Location"), path);
  EXPECT_EQ(List("", anew).size(), 1u);
}

TEST_F(EventsTest, Post_whose_event_is_gone_is_answered_without_it) {
  const std::string message = R"({"MessageId": "x", "Severity": "MESSAGE", "Message": "m"})";
  const Response first = PostAs("k-1", message);
  store->Write([&](Transaction& work) { work.RemoveOld({0, now + 2 * 86400, 100}); });
  const Response again = PostAs("k-1", message);
  EXPECT_EQ(again.status, 201u);
  EXPECT_EQ(again.body, "");
  EXPECT_EQ(Header(again, "Location"), Header(first, "Location"));
  EXPECT_EQ(List("", token), Paths{});
}

TEST_F(EventsTest, Key_is_kept_for_60_days) {
  const std::string message = R"({"MessageId": "x", "Severity": "MESSAGE", "Message": "m"})";
  const std::string path = Header(PostAs("k-1", message), "Location");
  const auto later = [&](time_t seconds) {
    now += seconds;
    while (cleanUp->Step()) {
    }
    return Header(PostAs("k-1", message), "Location");
  };
  EXPECT_EQ(later(time_t{60} * 86400), path);
  EXPECT_NE(later(1), path);
}

TEST_F(EventsTest, Key_is_up_to_200_visible_characters) {
  const std::string message = R"({"MessageId": "x", "Severity": "MESSAGE", "Message": "m"})";
  for (const std::string& key :
       {std::string(), std::string("a b"), std::string("\x7f"), std::string("\xc3\xbc"),
        std::string("\t"), std::string(201, 'k')}) {
    const Response refused = PostAs(key, message);
    EXPECT_EQ(refused.status, 400u) << key;
    EXPECT_EQ(ErrorText(refused), "Message-Key is not one to 200 visible characters of ASCII.");
  }
  EXPECT_EQ(List("", token), Paths{});
  for (const std::string& key : {std::string("!"), std::string("~"), std::string(200, 'k')}) {
    EXPECT_EQ(PostAs(key, message).status, 201u) << key;
  }
}

TEST_F(EventsTest, Severity_filter_is_exact) {
  const std::string alarm = Posted(Active("Zarvel.GDD.1", "Alarm", chassis));
  const std::string fault = Posted(Active("Zarvel.GDD.2", "Fault", chassis));
  EXPECT_EQ(Open("Alarm"), Paths{alarm});
  EXPECT_EQ(Open("Fault"), Paths{fault});
  EXPECT_EQ(Open("Warning"), Paths{});
  EXPECT_EQ(Open("alarm"), Paths{});
}

TEST_F(EventsTest, Change_of_severity_moves_the_open_alarm) {
  Posted(Active("Zarvel.GDD.1", "Warning", chassis));
  const std::string later = Posted(Active("Zarvel.GDD.1", "Fault", chassis));
  EXPECT_THAT(lines.back(), HasSubstr(" alarm changed: Zarvel.GDD.1 Fault "));
  EXPECT_EQ(Open("Warning"), Paths{});
  EXPECT_EQ(Open("Fault"), Paths{later});
}

TEST_F(EventsTest, Repeated_alarm_stays_one) {
  Posted(Active("Zarvel.GDD.1", "Alarm", chassis));
  const std::string later = Posted(Active("Zarvel.GDD.1", "Alarm", chassis));
  EXPECT_THAT(lines.back(), HasSubstr(" alarm repeated: "));
  EXPECT_EQ(Open("Alarm"), Paths{later});
}

TEST_F(EventsTest, Clearing_closes_the_alarm_that_its_fourth_argument_names) {
  const std::string two = Posted(Active("Zarvel.GDD.1:2", "Alarm", chassis));
  const std::string three = Posted(Active("Zarvel.GDD.1:3", "Alarm", chassis));
  const std::string clearing = Posted(Clearing("Zarvel.GDD.1:2", chassis));
  EXPECT_THAT(lines.back(), EndsWith(" alarm closed: Zarvel.GDD.1:2 on chassis " + chassis));
  EXPECT_EQ(Open("Alarm"), Paths{three});
  EXPECT_EQ(List("?Cleared=true", token), Paths{two});
  EXPECT_EQ(List("", token), (Paths{two, three, clearing}));
}

TEST_F(EventsTest, Clearing_what_is_not_open_is_stored_and_closes_nothing) {
  const std::string open = Posted(Active("Zarvel.GDD.1", "Alarm", chassis));
  Posted(Clearing("Zarvel.GDD.2", chassis));
  EXPECT_THAT(lines.back(), HasSubstr(" alarm cleared that was not open: Zarvel.GDD.2 "));
  Posted(Clearing("", chassis));
  EXPECT_EQ(Open("Alarm"), Paths{open});
}

TEST_F(EventsTest, Alarm_opens_again_after_it_was_closed) {
  const std::string first = Posted(Active("Zarvel.GDD.1", "Alarm", chassis));
  Posted(Clearing("Zarvel.GDD.1", chassis));
  const std::string second = Posted(Active("Zarvel.GDD.1", "Alarm", chassis));
  EXPECT_EQ(Open("Alarm"), Paths{second});
  EXPECT_EQ(List("?Cleared=true", token), Paths{first});
}

TEST_F(EventsTest, Same_alarm_on_two_chassis_is_two_alarms) {
  const std::string other = Chassis(token);
  const std::string here = Posted(Active("Zarvel.GDD.1", "Alarm", chassis));
  const std::string there = Posted(Active("Zarvel.GDD.1", "Alarm", other));
  Posted(Clearing("Zarvel.GDD.1", other));
  EXPECT_EQ(Open("Alarm"), Paths{here});
  EXPECT_EQ(List("?OriginOfCondition=" + other, token).front(), there);
}

TEST_F(EventsTest, Message_opens_no_alarm) {
  const std::string one = Posted(Active("TemperatureChanged", "MESSAGE", chassis));
  const std::string two = Posted(Active("Zarvel.GDD.5", "Message", chassis));
  EXPECT_THAT(lines.back(), HasSubstr(" message: Zarvel.GDD.5 Message "));
  EXPECT_EQ(List("?Cleared=false", token), Paths{});
  EXPECT_EQ(List("?Severity=MESSAGE", token), Paths{one});
  EXPECT_EQ(List("?OriginOfCondition=" + chassis, token), (Paths{one, two}));
}

TEST_F(EventsTest, Message_needs_no_origin) {
  Posted(R"({"MessageId": "x", "Severity": "MESSAGE", "Message": "", "MessageArgs": [],
             "Created": "2016-05-04T13:02:11Z", "OriginOfCondition": {"@odata.id": ""}})");
  Posted(R"({"MessageId": "x", "Severity": "MESSAGE", "Message": ""})");
  EXPECT_EQ(List("", token).size(), 2u);
}

TEST_F(EventsTest, Only_the_owner_sees_and_closes) {
  const std::string path = Posted(Active("Zarvel.GDD.1", "Alarm", chassis));
  const std::string other = Token("u-2");
  EXPECT_EQ(Ask("GET", path, other).status, 404u);
  EXPECT_EQ(List("?OriginOfCondition=" + chassis, other), Paths{});
  const std::string foreign = "/redfish/v1/Managers/u-2/Oem/Quorvan:Events";
  EXPECT_EQ(Ask("POST", foreign, other, Clearing("Zarvel.GDD.1", chassis)).status, 400u);
  EXPECT_EQ(Ask("POST", foreign, token, Active("Zarvel.GDD.1", "Alarm", chassis)).status, 404u);
  EXPECT_EQ(Open("Alarm"), Paths{path});
}

TEST_F(EventsTest, Open_alarms_survive_a_restart) {
  const std::string open = Posted(Active("Zarvel.GDD.1", "Alarm", chassis));
  Posted(Active("Zarvel.GDD.2", "Alarm", chassis));
  Posted(Clearing("Zarvel.GDD.2", chassis));
  Restart();
  EXPECT_EQ(Open("Alarm"), Paths{open});
  EXPECT_EQ(Got(200, Ask("GET", open, token)).at("MessageArgs").at(3), nullptr);
}

TEST_F(EventsTest, Text_with_an_unescaped_quote_is_refused_and_nothing_stored) {
  const Response response = Post(R"({ "MessageId": "Zarvel.GDD.1","Severity": "Alarm",)"
                                 R"("Message": "Filter "A" clogged."})");
  EXPECT_EQ(response.status, 400u);
  EXPECT_THAT(ErrorText(response), HasSubstr("line 1, column "));
  EXPECT_EQ(List("", token), Paths{});
}

TEST_F(EventsTest, Text_of_any_language_and_of_markup_and_sql_comes_back_unchanged) {
  const std::string text =
      "Zuluft \xc3\xbc"
      "ber 40 \xc2\xb0"
      "C <b>'); DROP TABLE event; --";
  const std::string path =
      Posted(Json{{"MessageId", "x"}, {"Severity", "MESSAGE"}, {"Message", text}}.dump());
  EXPECT_EQ(Got(200, Ask("GET", path, token)).at("Message"), text);
  EXPECT_EQ(List("?Severity=x'%20OR%20'1'='1", token), Paths{});
}

TEST_F(EventsTest, What_is_no_event_is_refused_with_the_reason) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"Severity": "MESSAGE", "Message": "m"})", "\"MessageId\" is missing."},
      {R"({"MessageId": "", "Severity": "MESSAGE", "Message": "m"})", "\"MessageId\" is empty."},
      {R"({"MessageId": 258, "Severity": "MESSAGE", "Message": "m"})",
       "\"MessageId\" is no string."},
      {R"({"MessageId": "a\u0000b", "Severity": "MESSAGE", "Message": "m"})",
       "\"MessageId\" has a control character in it."},
      {R"({"MessageId": "x", "Message": "m"})", "\"Severity\" is missing."},
      {R"({"MessageId": "x", "Severity": null, "Message": "m"})", "\"Severity\" is no string."},
      {R"({"MessageId": "x", "Severity": "MESSAGE"})", "\"Message\" is missing."},
      {R"({"MessageId": "x", "Severity": "MESSAGE", "Message": "m", "MessageArgs": {}})",
       "\"MessageArgs\" is no array."},
      {R"({"MessageId": "x", "Severity": "MESSAGE", "Message": "m", "MessageArgs": ["a", 2]})",
       "\"MessageArgs\" has neither a string nor null at position 2."},
      {R"({"MessageId": "x", "Severity": "MESSAGE", "Message": "m", "Created": 5})",
       "\"Created\" is no string."},
      {R"({"MessageId": "x", "Severity": "MESSAGE", "Message": "m", "OriginOfCondition": "c"})",
       "\"OriginOfCondition\" is no object."},
      {R"({"MessageId": "x", "Severity": "Alarm", "Message": "m"})",
       "\"OriginOfCondition\" names no chassis."},
      {R"({"MessageId": "x", "Severity": "Alarm", "Message": "m",
           "OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/none"}})",
       "\"OriginOfCondition\" names a chassis that this manager has not."},
      {R"({"MessageId": "258", "Severity": "MESSAGE", "Message": "m", "MessageArgs": ["a"]})",
       "\"MessageArgs\" does not name the cleared alarm at position 4."},
      {R"({"MessageId": "258", "Severity": "MESSAGE", "Message": "m",
           "MessageArgs": ["a", "b", "c", null]})",
       "\"MessageArgs\" does not name the cleared alarm at position 4."},
  };
  for (const auto& [body, reason] : cases) {
    const Response response = Post(body);
    EXPECT_EQ(response.status, 400u) << body;
    EXPECT_EQ(ErrorText(response), reason);
  }
  EXPECT_EQ(List("", token), Paths{});
}

TEST_F(EventsTest, Query_that_means_nothing_is_refused) {
  EXPECT_EQ(Ask("GET", "/redfish/v1/Oem/Quorvan:Events?Cleared=no", token).status, 400u);
}

TEST_F(EventsTest, Event_that_is_not_there_is_404) {
  for (const char* id : {"1", "0", "01", "-1", "x", "99999999999999999999", "1x"}) {
    EXPECT_EQ(Ask("GET", std::string("/redfish/v1/Oem/Quorvan:Events/") + id, token).status, 404u)
        << id;
  }
}

}  // namespace
}  // namespace cloudservice
