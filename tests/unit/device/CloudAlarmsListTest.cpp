// SPDX-License-Identifier: Apache-2.0
#include <jansson.h>

#include <new>
#include <optional>
#include <string>
#include <vector>

#include "AlarmTest.h"

namespace {

// The index for which json_array_get answers null. Each case is a process of its own: nothing is
// set back.
std::optional<size_t> g_missingElement;

}  // namespace

extern "C" {
json_t* __real_json_array_get(const json_t* array, size_t index);
json_t* __wrap_json_array_get(const json_t* array, size_t index);
}

json_t* __wrap_json_array_get(const json_t* array, size_t index) {
  if (g_missingElement == index) return nullptr;
  return __real_json_array_get(array, index);
}

namespace cloudclient {
namespace {

using fakes::platform;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

constexpr char kBase[] = "https://cloud.example";
constexpr char kFaults[] =
    "/redfish/v1/Oem/Quorvan:Events?OriginOfCondition=17&Cleared=false&Severity=Fault";
constexpr char kAlarms[] =
    "/redfish/v1/Oem/Quorvan:Events?OriginOfCondition=17&Cleared=false&Severity=Alarm";
constexpr char kWarnings[] =
    "/redfish/v1/Oem/Quorvan:Events?OriginOfCondition=17&Cleared=false&Severity=Warning";
constexpr size_t kTenMegabytes = 10u << 20;

class AlarmListTest : public AlarmTest {
 protected:
  void SetUp() override {
    AlarmTest::SetUp();
    platform().proxy.HasModules(10, 1);
    platform().proxy.HasModules(11, 4);
    ServiceHolds("17", {});
  }

  // What is read of chassis 17: identifier and severity of each alarm.
  std::vector<std::string> Read() {
    alarms.assign(3, CloudAlarm());
    mgr->ReadAlarmsFromCloudForChassis(&client, "17", alarms);
    return Texts();
  }
  // The same of one list document.
  std::vector<std::string> Process(const std::string& list) {
    mgr->ProcessAlarmList(&client, list, alarms, kBase, "token-1");
    return Texts();
  }
  std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const CloudAlarm& alarm : alarms) {
      texts.push_back(alarm.GetMessageId() + " " + alarm.GetSeverity());
    }
    return texts;
  }
  void ExpectReleased() {
    EXPECT_EQ(platform().mutexes.Held(), 0);
    EXPECT_EQ(fakes::curl().liveHandles, 0);
    EXPECT_EQ(fakes::curl().liveLists, 0);
  }

  std::vector<CloudAlarm> alarms;
};

TEST_F(AlarmListTest, Is_asked_for_faults_alarms_and_warnings_with_the_token) {
  Read();
  EXPECT_THAT(service.lines(),
              ElementsAre(std::string("GET ") + kFaults, std::string("GET ") + kAlarms,
                          std::string("GET ") + kWarnings));
  for (const fakes::Request& request : service.requests()) {
    EXPECT_EQ(request.Header("X-Auth-Token"), "token-1");
  }
  EXPECT_THAT(Log(), ElementsAre("7 ProcessAlarmList: number of active events: 0",
                                 "7 ProcessAlarmList: number of active events: 0",
                                 "7 ProcessAlarmList: number of active events: 0"));
}

TEST_F(AlarmListTest, Is_read_by_the_client_that_is_given) {
  ServiceHolds("17", {{11, 2, "Alarm"}});
  mgr->SetHttpsClient(nullptr);
  EXPECT_THAT(Read(), ElementsAre("Zarvel.GDD.11:2 Alarm"));
}

TEST_F(AlarmListTest, Names_the_origin_as_it_is) {
  mgr->ReadAlarmsFromCloudForChassis(&client, "a b&c/\xC3\xBC", alarms);
  EXPECT_EQ(service.lines()[0],
            "GET /redfish/v1/Oem/Quorvan:Events?OriginOfCondition=a b&c/\xC3\xBC"
            "&Cleared=false&Severity=Fault");
}

TEST_F(AlarmListTest, Of_the_last_reading_is_forgotten) { EXPECT_THAT(Read(), IsEmpty()); }

TEST_F(AlarmListTest, Holds_faults_then_alarms_then_warnings_in_the_order_of_the_service) {
  ServiceHolds("17", {{10, 0, "Warning"},
                      {11, 2, "Alarm"},
                      {11, 0, "Alarm"},
                      {11, 3, "Fault"},
                      {11, 1, "Warning"}});
  EXPECT_THAT(Read(),
              ElementsAre("Zarvel.GDD.11:3 Fault", "Zarvel.GDD.11:2 Alarm", "Zarvel.GDD.11:0 Alarm",
                          "Zarvel.GDD.10 Warning", "Zarvel.GDD.11:1 Warning"));
}

TEST_F(AlarmListTest, Each_list_is_followed_by_its_events) {
  ServiceHolds("17", {{10, 0, "Warning"}, {11, 3, "Fault"}});
  Read();
  EXPECT_THAT(service.lines(), ElementsAre(std::string("GET ") + kFaults, "GET /event/1",
                                           std::string("GET ") + kAlarms,
                                           std::string("GET ") + kWarnings, "GET /event/2"));
  EXPECT_EQ(service.requests()[1].Header("X-Auth-Token"), "token-1");
}

TEST_F(AlarmListTest, Traces_every_event) {
  const HeldAlarm held = {10, 0, "Warning"};
  service.answers("GET", "/event/1", 200, EventOf(held));
  EXPECT_THAT(Process(R"([{"@odata.id": "/event/1"}])"), SizeIs(1));
  EXPECT_THAT(Log(), ElementsAre("7 ProcessAlarmList: number of active events: 1",
                                 "7 ProcessAlarmList: event ref: /event/1",
                                 "7 ProcessAlarmList: Get Event: https://cloud.example/event/1",
                                 "7 ProcessAlarmList: Got specific event: " + EventOf(held)));
}

TEST_F(AlarmListTest, Is_added_to_what_was_read_before) {
  service.answers("GET", "/event/1", 200, EventOf({10, 0, "Warning"}));
  Process(R"([{"@odata.id": "/event/1"}])");
  EXPECT_THAT(Process(R"([{"@odata.id": "/event/1"}, {"@odata.id": "/event/1"}])"), SizeIs(3));
}

TEST_F(AlarmListTest, Is_not_asked_for_without_URL) {
  platform().cloud.fails["GetUrl"] = 4;
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(Log(), ElementsAre("3 ReadAlarmsFromCloudForChassis: Failed(4) to read URL"));
}

TEST_F(AlarmListTest, Is_not_asked_for_without_token_and_says_nothing) {
  platform().cloud.fails["GetXAuthToken"] = 5;
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(AlarmListTest, Missing_URL_is_told_when_the_token_is_missing_too) {
  platform().cloud.fails["GetUrl"] = 4;
  platform().cloud.fails["GetXAuthToken"] = 5;
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_THAT(Log(), ElementsAre("3 ReadAlarmsFromCloudForChassis: Failed(4) to read URL"));
}

TEST_F(AlarmListTest, A_refused_query_does_not_stop_the_others) {
  ServiceHolds("17", {{10, 0, "Warning"}, {11, 2, "Fault"}});
  service.answers("GET", kFaults, 500, "broken");
  EXPECT_THAT(Read(), ElementsAre("Zarvel.GDD.10 Warning"));
  EXPECT_THAT(Log(3), ElementsAre("3 AskForEvents: herr(4)  hdr: ",
                                  std::string("3 AskForEvents: url: https://cloud.example") +
                                      kFaults + "  resp: "));
}

TEST_F(AlarmListTest, A_rejected_token_is_told_with_header_and_body) {
  service.answers("GET", kAlarms, 403, "go away", {"Server: s"});
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_THAT(Log(3), ElementsAre("3 AskForEvents: herr(9)  hdr: HTTP/1.1 403 Forbidden\r\n"
                                  "Server: s\r\n\r\n",
                                  std::string("3 AskForEvents: url: https://cloud.example") +
                                      kAlarms + "  resp: go away"));
}

TEST_F(AlarmListTest, A_redirect_is_told_and_not_followed) {
  service.answers("GET", kWarnings, 302, "elsewhere", {"Location: /x"});
  EXPECT_THAT(Read(), IsEmpty());
  EXPECT_THAT(Log(3), ElementsAre("3 AskForEvents: herr(7)  hdr: HTTP/1.1 302 Found\r\n"
                                  "Location: /x\r\n\r\n",
                                  std::string("3 AskForEvents: url: https://cloud.example") +
                                      kWarnings + "  resp: "));
  EXPECT_THAT(service.requests(), SizeIs(3));
}

TEST_F(AlarmListTest, A_query_answers_whether_it_delivered_a_document) {
  std::string document = "as it was";
  service.answers("GET", kFaults, 404);
  EXPECT_FALSE(mgr->AskForEvents("Fault", "17", &client, document, kBase, "token-2"));
  EXPECT_EQ(document, "as it was");
  service.answers("GET", kFaults, 200, "[ ]");
  EXPECT_TRUE(mgr->AskForEvents("Fault", "17", &client, document, kBase, "token-2"));
  EXPECT_EQ(document, "[ ]");
  EXPECT_EQ(service.requests().back().Header("X-Auth-Token"), "token-2");
}

TEST_F(AlarmListTest, Of_another_type_holds_nothing) {
  for (const char* list :
       {R"({"Members": [{"@odata.id": "/event/1"}]})", "\"text\"", "5", "null", "true"}) {
    ForgetLog();
    EXPECT_THAT(Process(list), IsEmpty());
    EXPECT_THAT(Log(), ElementsAre("7 ProcessAlarmList: number of active events: 0")) << list;
  }
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(AlarmListTest, That_is_not_JSON_is_told_and_skipped) {
  ServiceHolds("17", {{10, 0, "Warning"}});
  ServiceLists("17", "Fault", "<html>");
  ServiceLists("17", "Alarm", "[1, 2");
  EXPECT_THAT(Read(), ElementsAre("Zarvel.GDD.10 Warning"));
  EXPECT_THAT(Log(3), ElementsAre("3 ProcessAlarmList: Failed(pos: 1  text: invalid token near "
                                  "'<') to parse alarm list (<html>)",
                                  "3 ProcessAlarmList: Failed(pos: 5  text: ']' expected near end "
                                  "of file) to parse alarm list ([1, 2)"));
}

TEST_F(AlarmListTest, With_an_empty_body_is_told_and_skipped) {
  ServiceHolds("17", {{10, 0, "Warning"}});
  ServiceLists("17", "Fault", "");
  EXPECT_THAT(Read(), ElementsAre("Zarvel.GDD.10 Warning"));
  EXPECT_THAT(Log(3), ElementsAre("3 ProcessAlarmList: Failed(pos: 0  text: unexpected token near "
                                  "end of file) to parse alarm list ()"));
}

TEST_F(AlarmListTest, Of_10_MB_that_is_not_JSON_is_told_whole_and_skipped) {
  ServiceHolds("17", {{10, 0, "Warning"}});
  const std::string list(kTenMegabytes, 'x');
  ServiceLists("17", "Fault", list);
  EXPECT_THAT(Read(), ElementsAre("Zarvel.GDD.10 Warning"));
  ASSERT_THAT(Log(3), SizeIs(1));
  EXPECT_TRUE(Log(3)[0].find(") to parse alarm list (" + list + ")") != std::string::npos);
}

TEST_F(AlarmListTest, Of_10_MB_is_read_to_its_last_element) {
  service.answers("GET", "/event/1", 200, EventOf({10, 0, "Warning"}));
  std::string list = "[";
  constexpr int kElements = 10000;
  for (int i = 0; i < kElements; ++i) list += "\"" + std::string(1046, 'x') + "\", ";
  list += R"({"@odata.id": "/event/1"}])";
  ASSERT_GT(list.size(), kTenMegabytes);
  EXPECT_THAT(Process(list), ElementsAre("Zarvel.GDD.10 Warning"));
  EXPECT_THAT(Log(3), SizeIs(kElements));
}

TEST_F(AlarmListTest, Nested_deeper_than_can_be_parsed_is_told_and_skipped) {
  ServiceHolds("17", {{10, 0, "Warning"}});
  ServiceLists("17", "Fault", std::string(100000, '[') + std::string(100000, ']'));
  EXPECT_THAT(Read(), ElementsAre("Zarvel.GDD.10 Warning"));
  EXPECT_THAT(Log(3),
              ElementsAre(AllOf(StartsWith("3 ProcessAlarmList: Failed(pos: 2049  text: maximum "
                                           "parsing depth reached near '[') to parse alarm list "
                                           "([[["),
                                EndsWith("]]])"))));
}

TEST_F(AlarmListTest, Nested_deep_is_an_element_without_reference) {
  EXPECT_THAT(Process(std::string(2000, '[') + std::string(2000, ']')), IsEmpty());
  EXPECT_THAT(Log(), ElementsAre("7 ProcessAlarmList: number of active events: 1",
                                 "3 ProcessAlarmList: Failed to get odata object for index: 0"));
}

TEST_F(AlarmListTest, Elements_without_a_reference_text_are_told_and_skipped) {
  service.answers("GET", "/event/1", 200, EventOf({10, 0, "Warning"}));
  EXPECT_THAT(Process(R"([null, 1, "/event/1", [], {}, {"@odata.id": 5}, {"@odata.id": null},
                          {"@odata.id": {"@odata.id": "/event/1"}}, {"@odata.id": "/event/1"}])"),
              ElementsAre("Zarvel.GDD.10 Warning"));
  EXPECT_THAT(Log(3), ElementsAre("3 ProcessAlarmList: Failed to get odata object for index: 0",
                                  "3 ProcessAlarmList: Failed to get odata object for index: 1",
                                  "3 ProcessAlarmList: Failed to get odata object for index: 2",
                                  "3 ProcessAlarmList: Failed to get odata object for index: 3",
                                  "3 ProcessAlarmList: Failed to get odata object for index: 4",
                                  "3 ProcessAlarmList: Failed to get odata object for index: 5",
                                  "3 ProcessAlarmList: Failed to get odata object for index: 6",
                                  "3 ProcessAlarmList: Failed to get odata object for index: 7"));
  EXPECT_THAT(service.lines(), ElementsAre("GET /event/1"));
}

TEST_F(AlarmListTest, An_absent_element_is_told_and_skipped) {
  service.answers("GET", "/event/1", 200, EventOf({10, 0, "Warning"}));
  service.answers("GET", "/event/4", 200, "[]");
  g_missingElement = 1;
  EXPECT_THAT(Process(R"([{"@odata.id": "/event/4"}, {"@odata.id": "/event/2"},
                          {"@odata.id": "/event/1"}])"),
              ElementsAre("Zarvel.GDD.10 Warning"));
  EXPECT_EQ(Log(3).back(), "3 ProcessAlarmList: Failed to get odataref for index: 1");
  EXPECT_THAT(service.lines(), ElementsAre("GET /event/4", "GET /event/1"));
}

TEST_F(AlarmListTest, Of_several_lines_that_is_not_JSON_is_told_by_position) {
  Process("[1,\n2,\n]");
  EXPECT_THAT(Log(3), ElementsAre("3 ProcessAlarmList: Failed(pos: 8  text: unexpected token near "
                                  "']') to parse alarm list ([1,\n2,\n])"));
}

TEST_F(AlarmListTest, Takes_the_last_of_two_members_of_one_name) {
  service.answers("GET", "/event/1", 200, EventOf({10, 0, "Warning"}));
  EXPECT_THAT(Process(R"([{"@odata.id": "/event/2", "@odata.id": "/event/1"}])"),
              ElementsAre("Zarvel.GDD.10 Warning"));
  EXPECT_THAT(service.lines(), ElementsAre("GET /event/1"));
}

TEST_F(AlarmListTest, An_empty_reference_reads_the_base_URL) {
  Process(R"([{"@odata.id": ""}])");
  EXPECT_EQ(service.requests()[0].url, kBase);
}

TEST_F(AlarmListTest, A_reference_without_a_slash_is_appended_as_it_is) {
  Process(R"([{"@odata.id": "event/1"}, {"@odata.id": "?e=1"}])");
  ASSERT_THAT(service.requests(), SizeIs(2));
  EXPECT_EQ(service.requests()[0].url, "https://cloud.exampleevent/1");
  EXPECT_EQ(service.requests()[1].url, "https://cloud.example?e=1");
}

TEST_F(AlarmListTest, Events_that_cannot_be_had_are_told_and_skipped) {
  service.answers("GET", "/event/1", 404)
      .answers("GET", "/event/2", 302)
      .answers("GET", "/event/3", 403)
      .answers("GET", "/event/4", 200, EventOf({10, 0, "Warning"}));
  EXPECT_THAT(Process(R"([{"@odata.id": "/event/1"}, {"@odata.id": "/event/2"},
                          {"@odata.id": "/event/3"}, {"@odata.id": "/event/4"}])"),
              ElementsAre("Zarvel.GDD.10 Warning"));
  EXPECT_THAT(Log(3), ElementsAre("3 ProcessAlarmList: failed to get specific event: 4  url: "
                                  "https://cloud.example/event/1",
                                  "3 ProcessAlarmList: failed to get specific event: 7  url: "
                                  "https://cloud.example/event/2",
                                  "3 ProcessAlarmList: failed to get specific event: 9  url: "
                                  "https://cloud.example/event/3"));
}

TEST_F(AlarmListTest, An_event_with_an_empty_body_is_skipped) {
  service.answers("GET", "/event/1", 200, "");
  service.answers("GET", "/event/2", 200, EventOf({10, 0, "Warning"}));
  EXPECT_THAT(Process(R"([{"@odata.id": "/event/1"}, {"@odata.id": "/event/2"}])"),
              ElementsAre("Zarvel.GDD.10 Warning"));
  EXPECT_THAT(Log(3), ElementsAre("3 InitCloudAlarmFromJson: Failed to parse (pos: 0  text: '[' or "
                                  "'{' expected near end of file) cloud alarm: ()"));
  EXPECT_EQ(Log()[3], "7 ProcessAlarmList: Got specific event: ");
}

TEST_F(AlarmListTest, A_trailer_cuts_the_front_of_the_body) {
  service.answers("GET", "/event/1", 200, EventOf({10, 0, "Warning"}));
  AnswersWithTrailer("/event/1", "A: b\r\n");
  EXPECT_THAT(Process(R"([{"@odata.id": "/event/1"}])"), IsEmpty());
  EXPECT_THAT(Log(), Contains("7 ProcessAlarmList: Got specific event: " +
                              EventOf({10, 0, "Warning"}).substr(6)));
}

TEST_F(AlarmListTest, That_cannot_be_cut_is_told_and_the_next_one_is_asked_for) {
  ServiceHolds("17", {{11, 3, "Fault"}, {10, 0, "Warning"}});
  AnswersWithTrailer(kAlarms, kLongTrailer);
  EXPECT_THAT(Read(), ElementsAre("Zarvel.GDD.11:3 Fault", "Zarvel.GDD.10 Warning"));
  EXPECT_THAT(Log(3), ElementsAre("3 AskForEvents: answer without a body to cut  url: "
                                  "https://cloud.example" +
                                  std::string(kAlarms)));
  ExpectReleased();
}

TEST_F(AlarmListTest, Of_answers_that_cannot_be_cut_is_told_once_a_request_and_empty) {
  for (const char* path : {kFaults, kAlarms, kWarnings}) AnswersWithTrailer(path, kLongTrailer);
  service.answers("GET", kAlarms, 403);
  EXPECT_THAT(Read(), IsEmpty());
  const std::string line =
      "3 AskForEvents: answer without a body to cut  url: https://cloud.example";
  EXPECT_THAT(Log(), ElementsAre(line + kFaults, line + kAlarms, line + kWarnings));
}

TEST_F(AlarmListTest, A_query_whose_answer_cannot_be_cut_delivers_no_document) {
  std::string document = "as it was";
  service.answers("GET", kFaults, 200, "[]");
  AnswersWithTrailer(kFaults, kLongTrailer);
  EXPECT_FALSE(mgr->AskForEvents("Fault", "17", &client, document, kBase, "token-1"));
  EXPECT_EQ(document, "as it was");
}

TEST_F(AlarmListTest, An_event_that_cannot_be_cut_is_told_and_the_next_one_is_read) {
  service.answers("GET", "/event/1", 200, "{}").answers("GET", "/event/2", 403);
  service.answers("GET", "/event/3", 200, EventOf({10, 0, "Warning"}));
  AnswersWithTrailer("/event/1", kLongTrailer);
  AnswersWithTrailer("/event/2", kLongTrailer);
  EXPECT_THAT(Process(R"([{"@odata.id": "/event/1"}, {"@odata.id": "/event/2"},
                          {"@odata.id": "/event/3"}])"),
              ElementsAre("Zarvel.GDD.10 Warning"));
  const std::string line =
      "3 ProcessAlarmList: answer without a body to cut  url: https://cloud.example/event/";
  EXPECT_THAT(Log(3), ElementsAre(line + "1", line + "2"));
  ExpectReleased();
}

TEST_F(AlarmListTest, Is_read_cleanly_after_an_answer_that_could_not_be_cut) {
  ServiceHolds("17", {{10, 0, "Warning"}});
  AnswersWithTrailer(kWarnings, kLongTrailer);
  EXPECT_THAT(Read(), IsEmpty());
  AnswersWithTrailer(kWarnings, "");
  EXPECT_THAT(Read(), ElementsAre("Zarvel.GDD.10 Warning"));
}

TEST_F(AlarmListTest, What_else_is_raised_is_not_taken_for_an_answer) {
  fakes::curl().onPerform = [](fakes::Transfer&) { throw std::bad_alloc(); };
  EXPECT_THROW(Read(), std::bad_alloc);
  EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(AlarmListTest, Is_cut_wrong_after_a_patch_that_was_answered_with_a_body) {
  ServiceHolds("17", {{11, 0, "Fault"}, {10, 0, "Warning"}});
  service.answers("PATCH", "/r", 200, "{\"a\": 1}");
  ASSERT_EQ(client.PatchResource("https://cloud.example/r", "token-1", "{}"), kHttpsOk);
  EXPECT_THAT(Read(), ElementsAre("Zarvel.GDD.10 Warning"));
  EXPECT_THAT(Log(3), ElementsAre(HasSubstr("3 ProcessAlarmList: Failed(pos: ")));
}

TEST_F(AlarmListTest, Releases_transport_and_locks) {
  ServiceHolds("17", {{10, 0, "Warning"}, {11, 2, "Fault"}});
  Read();
  ExpectReleased();
}

}  // namespace
}  // namespace cloudclient
