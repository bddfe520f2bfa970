// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <vector>

#include "AlarmTest.h"

namespace cloudclient {
namespace {

using fakes::platform;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kEventsUrl[] =
    "https://cloud.example/redfish/v1/Managers/6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11/Oem/"
    "Quorvan:Events";

class EventDocumentTest : public AlarmTest {
 protected:
  // Posts an alarm; its document.
  std::string DocumentOf(const CloudAlarm& alarm) {
    mgr->PostEventForAlarmToCloud(alarm, "17", kUuid);
    return Documents().empty() ? "" : Documents().back();
  }
  // The document of an alarm that was raised now and cleared a minute later.
  std::string ClearingDocumentOf(CloudAlarm alarm) {
    platform().clock.now += 60;
    alarm.SetState("Cleared");
    return DocumentOf(alarm);
  }
  // The only level-3 line after the post of an alarm.
  std::string FailureOfPost() {
    mgr->PostEventForAlarmToCloud(Alarm(1234, -1, "Alarm"), "17", kUuid);
    const std::vector<std::string> lines = Log(3);
    EXPECT_EQ(lines.size(), 1u);
    return lines.empty() ? "" : lines[0];
  }
};

TEST_F(EventDocumentTest, Of_a_state_like_cleared_is_that_of_an_active_alarm) {
  for (const char* state : {"Clear", "Cleared late", "cleared", ""}) {
    EXPECT_NE(DocumentOf(Alarm(1234, -1, state)).find(R"("MessageId": "Zarvel.GDD.1234")"),
              std::string::npos)
        << state;
    EXPECT_EQ(Tracked(0, "Zarvel.GDD.1234"), state);
  }
}

TEST_F(EventDocumentTest, Shows_numbers_of_more_than_16_bits) {
  const std::string document = DocumentOf(Alarm(4294967295u, 70000, "Alarm"));
  EXPECT_NE(document.find(R"("MessageId": "Zarvel.GDD.4294967295:70000")"), std::string::npos);
  EXPECT_NE(document.find(R"("System","70000", null])"), std::string::npos);
}

TEST_F(EventDocumentTest, Of_an_active_alarm_without_instance) {
  EXPECT_EQ(DocumentOf(Alarm(1234, -1, "Alarm")),
            R"({ "MessageId": "Zarvel.GDD.1234","Severity": "Alarm",)"
            R"("MessageArgs": ["Unit1","System","0", null],"Message": "Fan failed.",)"
            R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
            R"( "Created": "2026-03-05T13:07:09+0000"})");
}

TEST_F(EventDocumentTest, Of_an_active_alarm_of_instance_0) {
  EXPECT_EQ(DocumentOf(Alarm(1234, 0, "Warning")),
            R"({ "MessageId": "Zarvel.GDD.1234:0","Severity": "Warning",)"
            R"("MessageArgs": ["Unit1","System","0", null],"Message": "Fan failed.",)"
            R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
            R"( "Created": "2026-03-05T13:07:09+0000"})");
}

TEST_F(EventDocumentTest, Of_an_active_alarm_of_instance_2) {
  EXPECT_EQ(DocumentOf(Alarm(1234, 2, "Fault")),
            R"({ "MessageId": "Zarvel.GDD.1234:2","Severity": "Fault",)"
            R"("MessageArgs": ["Unit1","System","2", null],"Message": "Fan failed.",)"
            R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
            R"( "Created": "2026-03-05T13:07:09+0000"})");
}

TEST_F(EventDocumentTest, Of_a_cleared_alarm_without_instance) {
  EXPECT_EQ(ClearingDocumentOf(Alarm(1234, -1, "Alarm")),
            R"({ "MessageId": "258","Severity": "MESSAGE",)"
            R"("MessageArgs": ["Unit1","System","2026-03-05T13:08:09+0000","Zarvel.GDD.1234"],)"
            R"("Message": "Fan failed (Cleared).",)"
            R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
            R"( "Created": "2026-03-05T13:07:09+0000"})");
}

TEST_F(EventDocumentTest, Of_a_cleared_alarm_of_instance_0) {
  EXPECT_EQ(ClearingDocumentOf(Alarm(1234, 0, "Alarm")),
            R"({ "MessageId": "258","Severity": "MESSAGE",)"
            R"("MessageArgs": ["Unit1","System","2026-03-05T13:08:09+0000","Zarvel.GDD.1234:0"],)"
            R"("Message": "Fan failed (Cleared).",)"
            R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
            R"( "Created": "2026-03-05T13:07:09+0000"})");
}

TEST_F(EventDocumentTest, Of_a_cleared_alarm_of_instance_2) {
  EXPECT_EQ(ClearingDocumentOf(Alarm(1234, 2, "Alarm")),
            R"({ "MessageId": "258","Severity": "MESSAGE",)"
            R"("MessageArgs": ["Unit1","System","2026-03-05T13:08:09+0000","Zarvel.GDD.1234:2"],)"
            R"("Message": "Fan failed (Cleared).",)"
            R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
            R"( "Created": "2026-03-05T13:07:09+0000"})");
}

TEST_F(EventDocumentTest, Of_an_alarm_that_never_had_a_state_clears_with_empty_times) {
  EXPECT_EQ(DocumentOf(CloudAlarm()),
            R"({ "MessageId": "258","Severity": "MESSAGE",)"
            R"("MessageArgs": ["Unit1","System","",""],"Message": " (Cleared).",)"
            R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"}, "Created": ""})");
}

TEST_F(EventDocumentTest, Of_an_alarm_without_text_ends_the_message_with_its_full_stop) {
  EXPECT_THAT(DocumentOf(Alarm(1, -1, "Alarm", "")), HasSubstr(R"("Message": ".",)"));
}

TEST_F(EventDocumentTest, Holds_the_argument_and_not_the_instance) {
  CloudAlarm alarm = Alarm(1, 4, "Alarm");
  alarm.SetMessageArg(-3);
  EXPECT_THAT(DocumentOf(alarm), HasSubstr(R"(["Unit1","System","-3", null])"));
}

TEST_F(EventDocumentTest, Escapes_nothing) {
  CloudAlarm alarm = Alarm(1, -1, "Ala\"rm", "T\xC3\xBCr \"3\" offen\\\n");
  alarm.SetCreated("\"then\"");
  mgr->PostEventForAlarmToCloud(alarm, "1\"7 /", kUuid);
  EXPECT_THAT(Documents(),
              ElementsAre("{ \"MessageId\": \"Zarvel.GDD.1\",\"Severity\": \"Ala\"rm\","
                          "\"MessageArgs\": [\"Unit1\",\"System\",\"0\", null],"
                          "\"Message\": \"T\xC3\xBCr \"3\" offen\\\n.\","
                          "\"OriginOfCondition\": "
                          "{\"@odata.id\": \"/redfish/v1/Chassis/1\"7 /\"}, "
                          "\"Created\": \"\"then\"\"}"));
}

TEST_F(EventDocumentTest, Only_the_word_Cleared_clears) {
  for (const char* state : {"cleared", "Clear", "Cleared ", "Message", ""}) {
    EXPECT_THAT(
        DocumentOf(Alarm(1, -1, state)),
        HasSubstr(R"("MessageId": "Zarvel.GDD.1","Severity": ")" + std::string(state) + R"(",)"));
  }
}

TEST_F(EventDocumentTest, The_platforms_cleared_text_is_no_clearing_word) {
  fakes::SetClearedText("Normal");
  EXPECT_EQ(DocumentOf(Alarm(1234, 2, "Normal")),
            R"({ "MessageId": "Zarvel.GDD.1234:2","Severity": "Normal",)"
            R"("MessageArgs": ["Unit1","System","2", null],"Message": "Fan failed.",)"
            R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"}, "Created": ""})");
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.1234:2"), "Normal");
}

TEST_F(EventDocumentTest, The_word_Cleared_clears_whatever_the_platforms_text) {
  fakes::SetClearedText("Normal");
  EXPECT_EQ(DocumentOf(Alarm(1234, 2, "Cleared")),
            R"({ "MessageId": "258","Severity": "MESSAGE",)"
            R"("MessageArgs": ["Unit1","System","","Zarvel.GDD.1234:2"],)"
            R"("Message": "Fan failed (Cleared).",)"
            R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/17"},)"
            R"( "Created": "2026-03-05T13:07:09+0000"})");
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.1234:2"), "");
}

TEST_F(EventDocumentTest, Is_posted_to_the_events_of_the_manager_with_the_token) {
  mgr->PostEventForAlarmToCloud(Alarm(1234, -1, "Alarm"), "17", kUuid);
  ASSERT_EQ(service.requests().size(), 1u);
  const fakes::Request& request = service.requests()[0];
  EXPECT_EQ(request.method, "POST");
  EXPECT_EQ(request.url, kEventsUrl);
  EXPECT_EQ(request.Header("X-Auth-Token"), "token-1");
  EXPECT_THAT(Log(), ElementsAre("7 PostEventForAlarmToCloud: url(" + std::string(kEventsUrl) + ")",
                                 "7 PostEventForAlarmToCloud: doc(" + request.document + ")"));
}

TEST_F(EventDocumentTest, Goes_to_the_manager_that_is_named) {
  platform().cloud.url = "https://cloud.example/";
  mgr->PostEventForAlarmToCloud(Alarm(1234, -1, "Alarm"), "17", "a b/c");
  EXPECT_THAT(service.lines(), ElementsAre("POST //redfish/v1/Managers/a b/c/Oem/Quorvan:Events"));
}

TEST_F(EventDocumentTest, Is_not_posted_when_the_token_cannot_be_read) {
  std::vector<std::string> asked;
  platform().cloud.onCall = [&](const std::string& operation) { asked.push_back(operation); };
  platform().cloud.fails["GetXAuthToken"] = 4;
  platform().cloud.fails["GetUrl"] = 4;
  mgr->PostEventForAlarmToCloud(Alarm(1234, -1, "Alarm"), "17", kUuid);
  EXPECT_THAT(Log(), ElementsAre("3 PostEventForAlarmToCloud: missing the xauthtoken "));
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(asked, ElementsAre("GetXAuthToken"));
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.1234"), "");
}

TEST_F(EventDocumentTest, Is_not_posted_when_the_URL_cannot_be_read) {
  platform().cloud.fails["GetUrl"] = 4;
  mgr->PostEventForAlarmToCloud(Alarm(1234, -1, "Alarm"), "17", kUuid);
  EXPECT_THAT(Log(), ElementsAre("3 PostEventForAlarmToCloud: Failed to get cloud service URL"));
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.1234"), "");
}

TEST_F(EventDocumentTest, Is_posted_with_an_empty_token) {
  platform().cloud.token = "";
  mgr->PostEventForAlarmToCloud(Alarm(1234, -1, "Alarm"), "17", kUuid);
  ASSERT_EQ(service.requests().size(), 1u);
  EXPECT_FALSE(service.requests()[0].HasHeader("X-Auth-Token"));
}

TEST_F(EventDocumentTest, A_refusal_is_told_with_result_header_and_body_and_not_repeated) {
  service.answers("POST", kEventsPath, 500, "no room", {"Server: s"});
  const std::string header = "HTTP/1.1 500 Internal Server Error\r\nServer: s\r\n\r\n";
  EXPECT_EQ(FailureOfPost(), "3 PostEventForAlarmToCloud: Failed to POST Event (6)  " + header +
                                 "  " + header + "no room");
  EXPECT_EQ(service.requests().size(), 1u);
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.1234"), "");
}

TEST_F(EventDocumentTest, A_service_out_of_reach_is_told_without_texts) {
  service.isDown();
  EXPECT_EQ(FailureOfPost(), "3 PostEventForAlarmToCloud: Failed to POST Event (4)    ");
  EXPECT_EQ(service.requests().size(), 1u);
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.1234"), "");
}

TEST_F(EventDocumentTest, A_transport_without_handle_is_told) {
  fakes::curl().initFails = true;
  EXPECT_EQ(FailureOfPost(), "3 PostEventForAlarmToCloud: Failed to POST Event (2)    ");
}

TEST_F(EventDocumentTest, A_request_that_cannot_be_set_up_is_told) {
  fakes::curl().refuses[CURLOPT_POSTFIELDS] = CURLE_OUT_OF_MEMORY;
  EXPECT_EQ(FailureOfPost(), "3 PostEventForAlarmToCloud: Failed to POST Event (3)    ");
}

TEST_F(EventDocumentTest, Of_an_active_alarm_is_tracked_once_the_service_took_it) {
  service.answers("POST", kEventsPath, 200);
  CloudAlarm alarm = Alarm(1234, 2, "Alarm");
  alarm.SetAlarmKey(5);
  mgr->PostEventForAlarmToCloud(alarm, "17", kUuid);
  CloudAlarm tracked;
  ASSERT_EQ(mgr->GetActiveAlarmsMgr().GetActiveAlarm(5, "Zarvel.GDD.1234:2", tracked), 1);
  EXPECT_EQ(tracked.GetEventId(), 1234u);
  EXPECT_EQ(tracked.GetMessage(), "Fan failed");
  EXPECT_EQ(tracked.GetSeverity(), "Alarm");
  EXPECT_EQ(tracked.GetAlarmKey(), 5);
  EXPECT_EQ(tracked.GetMessageArg(), 2);
  EXPECT_EQ(tracked.GetCreated(), kNow);
}

TEST_F(EventDocumentTest, Of_an_alarm_without_device_is_tracked_under_the_largest_number) {
  CloudAlarm alarm = Alarm(1234, -1, "Alarm");
  alarm.SetAlarmKey(-1);
  mgr->PostEventForAlarmToCloud(alarm, "17", kUuid);
  EXPECT_EQ(Tracked(4294967295, "Zarvel.GDD.1234"), "Alarm");
}

TEST_F(EventDocumentTest, Of_a_cleared_alarm_leaves_the_tracker_alone) {
  mgr->PostEventForAlarmToCloud(Alarm(1234, -1, "Alarm"), "17", kUuid);
  mgr->PostEventForAlarmToCloud(Alarm(1234, -1, "Cleared"), "17", kUuid);
  mgr->PostEventForAlarmToCloud(Alarm(4, -1, "Cleared"), "17", kUuid);
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.1234"), "Alarm");
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.4"), "");
  EXPECT_THAT(Posted(), ElementsAre("Zarvel.GDD.1234 Alarm of 17", "Zarvel.GDD.1234 cleared of 17",
                                    "Zarvel.GDD.4 cleared of 17"));
}

TEST_F(EventDocumentTest, A_refused_change_leaves_the_tracked_state) {
  mgr->PostEventForAlarmToCloud(Alarm(1234, -1, "Alarm"), "17", kUuid);
  service.isDown();
  mgr->PostEventForAlarmToCloud(Alarm(1234, -1, "Fault"), "17", kUuid);
  EXPECT_EQ(Tracked(0, "Zarvel.GDD.1234"), "Alarm");
}

}  // namespace
}  // namespace cloudclient
