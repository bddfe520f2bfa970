// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <string>
#include <vector>

#include "AlarmTest.h"

namespace cloudclient {
namespace {

using fakes::platform;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

// The conversion of an event document into an alarm.
class EventConversionTest : public AlarmTest {
 protected:
  void SetUp() override {
    AlarmTest::SetUp();
    platform().proxy.HasModules(10, 1);
    platform().proxy.HasModules(11, 4);
    platform().proxy.HasModules(258, 1);
  }

  static std::string Document(const std::string& messageId, const std::string& severity = "Alarm",
                              const std::string& argument = "0",
                              const std::string& message = "Fan failed.") {
    return "{\"MessageId\": \"" + messageId + "\", \"Severity\": \"" + severity +
           "\", \"MessageArgs\": [\"Unit1\", \"System\", \"" + argument +
           "\", null], \"Message\": \"" + message + "\"}";
  }

  // The alarm of a document that is accepted.
  CloudAlarm Converted(const std::string& document) {
    CloudAlarm alarm;
    EXPECT_TRUE(mgr->InitCloudAlarmFromJson(document, alarm)) << document;
    EXPECT_THAT(Log(), IsEmpty());
    return alarm;
  }
  // Third argument and event number, of an event that has several modules or that nobody knows.
  int32_t ArgumentOf(const std::string& text) {
    return Converted(Document("Zarvel.GDD.11", "Alarm", text)).GetMessageArg();
  }
  uint32_t NumberOf(const std::string& text) {
    CloudAlarm alarm;
    EXPECT_TRUE(mgr->InitCloudAlarmFromJson(Document("Zarvel.GDD." + text), alarm));
    return alarm.GetEventId();
  }
  std::string MessageOf(const std::string& message) {
    return Converted(Document("Zarvel.GDD.10", "Alarm", "0", message)).GetMessage();
  }

  // That a document is refused with the two lines, and the alarm stays as it was.
  void ExpectRefused(const std::string& document) {
    ForgetLog();
    CloudAlarm alarm = Alarm(7, 3, "Fault", "as it was");
    EXPECT_FALSE(mgr->InitCloudAlarmFromJson(document, alarm));
    EXPECT_THAT(Log(), ElementsAre("3 InitCloudAlarmFromJson: Failed to parse cloud alarm",
                                   "3 InitCloudAlarmFromJson: cloudalarm json: " + document));
    EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.7:3");
    EXPECT_EQ(alarm.GetMessage(), "as it was");
    EXPECT_EQ(alarm.GetSeverity(), "Fault");
    EXPECT_EQ(alarm.GetMessageArg(), 3);
  }
};

TEST_F(EventConversionTest, Reads_numbers_up_to_the_first_character_that_is_no_digit) {
  platform().proxy.HasModules(12, 1);
  platform().proxy.HasModules(0, 1);
  EXPECT_EQ(Converted(Document("Zarvel.GDD.12x4")).GetEventId(), 12u);
  EXPECT_EQ(Converted(Document("Zarvel.GDD.-5")).GetEventId(), 0u);
  EXPECT_EQ(Converted(Document("Zarvel.GDD. 5")).GetEventId(), 0u);
  EXPECT_EQ(Converted(Document("Zarvel.GDD.11", "Alarm", "3a")).GetMessageId(), "Zarvel.GDD.11:3");
  EXPECT_EQ(ArgumentOf("-3a"), -3);
}

TEST_F(EventConversionTest, The_argument_is_signed_and_without_digits_0) {
  EXPECT_EQ(ArgumentOf("-3"), -3);
  EXPECT_EQ(ArgumentOf("-0"), 0);
  EXPECT_EQ(ArgumentOf("010"), 10);
  for (const char* none : {"x", "-", "--3", "- 3", "-x3", " 3", "+3", "\\t3"}) {
    EXPECT_EQ(ArgumentOf(none), 0) << none;
  }
}

TEST_F(EventConversionTest, A_negative_argument_is_no_instance) {
  EXPECT_EQ(Converted(Document("Zarvel.GDD.11", "Alarm", "-3")).GetMessageId(), "Zarvel.GDD.11");
}

TEST_F(EventConversionTest, Numbers_beyond_their_bounds_are_the_bounds) {
  EXPECT_EQ(ArgumentOf("65538"), 65538);
  EXPECT_EQ(ArgumentOf("2147483647"), 2147483647);
  EXPECT_EQ(ArgumentOf("2147483648"), 2147483647);
  EXPECT_EQ(ArgumentOf("4294967298"), 2147483647);
  EXPECT_EQ(ArgumentOf("99999999999999999999"), 2147483647);
  EXPECT_EQ(ArgumentOf("-2147483648"), INT32_MIN);
  EXPECT_EQ(ArgumentOf("-2147483649"), INT32_MIN);
  EXPECT_EQ(ArgumentOf("-99999999999999999999"), INT32_MIN);
  EXPECT_EQ(NumberOf("65546"), 65546u);
  EXPECT_EQ(NumberOf("4294967295"), 4294967295u);
  EXPECT_EQ(NumberOf("4294967296"), 4294967295u);
  EXPECT_EQ(NumberOf("4294967306"), 4294967295u);
  EXPECT_EQ(NumberOf("99999999999999999999"), 4294967295u);
}

TEST_F(EventConversionTest, Of_an_event_of_a_single_module) {
  const CloudAlarm alarm = Converted(Document("Zarvel.GDD.10", "Warning", "0"));
  EXPECT_EQ(alarm.GetEventId(), 10u);
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.10");
  EXPECT_EQ(alarm.GetMessageArg(), 0);
  EXPECT_EQ(alarm.GetSeverity(), "Warning");
  EXPECT_EQ(alarm.GetMessage(), "Fan failed");
  EXPECT_EQ(alarm.GetCreated(), kNow);
  EXPECT_EQ(alarm.GetClearedTime(), "");
  EXPECT_EQ(alarm.GetAlarmKey(), -1);
  EXPECT_EQ(alarm.GetCloudRef(), "");
}

TEST_F(EventConversionTest, Takes_the_module_from_the_third_argument) {
  for (const int module : {0, 2}) {
    const std::string text = std::to_string(module);
    const CloudAlarm alarm = Converted(Document("Zarvel.GDD.11:3", "Alarm", text));
    EXPECT_EQ(alarm.GetMessageArg(), module);
    EXPECT_EQ(alarm.GetEventId(), 11u);
    EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.11:" + text);
  }
}

TEST_F(EventConversionTest, Keeps_the_module_of_an_event_of_a_single_module) {
  const CloudAlarm alarm = Converted(Document("Zarvel.GDD.10:2", "Alarm", "2"));
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.10");
  EXPECT_EQ(alarm.GetMessageArg(), 2);
}

TEST_F(EventConversionTest, Only_a_count_of_exactly_1_drops_the_instance) {
  platform().proxy.HasModules(12, 0);
  platform().proxy.HasModules(13, 2);
  EXPECT_EQ(Converted(Document("Zarvel.GDD.10")).GetMessageId(), "Zarvel.GDD.10");
  EXPECT_EQ(Converted(Document("Zarvel.GDD.12")).GetMessageId(), "Zarvel.GDD.12:0");
  EXPECT_EQ(Converted(Document("Zarvel.GDD.13")).GetMessageId(), "Zarvel.GDD.13:0");
}

TEST_F(EventConversionTest, An_unknown_event_keeps_its_instance_and_is_asked_of_device_0) {
  CloudAlarm alarm;
  EXPECT_TRUE(mgr->InitCloudAlarmFromJson(Document("Zarvel.GDD.99", "Alarm", "2"), alarm));
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.99:2");
  EXPECT_THAT(Log(), ElementsAre("3 GetMaxModuleCountForPoint: Failed (LxDpStatus: 1) to get "
                                 "report number for point(99) on device(0)"));
}

TEST_F(EventConversionTest, Reads_the_number_after_the_last_full_stop) {
  EXPECT_EQ(Converted(Document("Zarvel.GDD.11:2")).GetEventId(), 11u);
  EXPECT_EQ(Converted(Document("11:2")).GetEventId(), 11u);
  EXPECT_EQ(Converted(Document("10.11")).GetEventId(), 11u);
  EXPECT_EQ(Converted(Document("Zarvel.GDD.11x12")).GetEventId(), 11u);
}

TEST_F(EventConversionTest, An_identifier_without_digits_is_number_0) {
  platform().proxy.HasModules(0, 1);
  EXPECT_EQ(Converted(Document("Zarvel.GDD.Fan")).GetMessageId(), "Zarvel.GDD.0");
}

TEST_F(EventConversionTest, A_clearing_message_is_event_258) {
  const CloudAlarm alarm = Converted(Document("258", "MESSAGE", kNow));
  EXPECT_EQ(alarm.GetEventId(), 258u);
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.258");
  EXPECT_EQ(alarm.GetMessageArg(), 2026);
}

TEST_F(EventConversionTest, An_argument_without_digits_is_module_0) {
  EXPECT_EQ(Converted(Document("Zarvel.GDD.11", "Alarm", "x")).GetMessageId(), "Zarvel.GDD.11:0");
}

TEST_F(EventConversionTest, Takes_one_full_stop_off_the_message) {
  EXPECT_EQ(MessageOf("Fan failed."), "Fan failed");
  EXPECT_EQ(MessageOf("Fan failed"), "Fan failed");
  EXPECT_EQ(MessageOf("Fan failed.."), "Fan failed.");
  EXPECT_EQ(MessageOf("3.3 V low"), "3.3 V low");
  EXPECT_EQ(MessageOf("."), "");
  EXPECT_EQ(MessageOf(""), "");
}

TEST_F(EventConversionTest, Accepts_a_message_that_is_missing_or_no_text) {
  const std::string begin =
      R"({"MessageId": "Zarvel.GDD.10", "Severity": "Alarm", "MessageArgs": ["", "", "0"])";
  EXPECT_EQ(Converted(begin + "}").GetMessage(), "");
  EXPECT_EQ(Converted(begin + R"(, "Message": 5})").GetMessage(), "");
}

TEST_F(EventConversionTest, Reads_back_the_texts_of_the_daemons_own_document) {
  const CloudAlarm sent = Alarm(11, 2, "Fault", "[3] T\xC3\xBCr offen");
  mgr->PostEventForAlarmToCloud(sent, "17", kUuid);
  ForgetLog();
  const CloudAlarm read = Converted(Documents()[0]);
  EXPECT_EQ(read.GetMessageId(), sent.GetMessageId());
  EXPECT_EQ(read.GetMessage(), sent.GetMessage());
  EXPECT_EQ(read.GetSeverity(), sent.GetSeverity());
  EXPECT_EQ(read.GetMessageArg(), sent.GetMessageArg());
}

TEST_F(EventConversionTest, A_cleared_severity_stamps_the_clearing) {
  const CloudAlarm alarm = Converted(Document("Zarvel.GDD.10", "Cleared"));
  EXPECT_EQ(alarm.GetClearedTime(), kNow);
  EXPECT_EQ(alarm.GetCreated(), "");
}

TEST_F(EventConversionTest, Refuses_what_is_not_JSON) {
  CloudAlarm alarm = Alarm(7, 3, "Fault", "as it was");
  EXPECT_FALSE(mgr->InitCloudAlarmFromJson("nonsense", alarm));
  EXPECT_FALSE(mgr->InitCloudAlarmFromJson("{}x", alarm));
  EXPECT_THAT(Log(), ElementsAre("3 InitCloudAlarmFromJson: Failed to parse (pos: 8  text: '[' or "
                                 "'{' expected near 'nonsense') cloud alarm: (nonsense)",
                                 "3 InitCloudAlarmFromJson: Failed to parse (pos: 3  text: end of "
                                 "file expected near 'x') cloud alarm: ({}x)"));
  EXPECT_EQ(alarm.GetMessageId(), "Zarvel.GDD.7:3");
}

TEST_F(EventConversionTest, Tells_by_position_where_several_lines_are_no_JSON) {
  CloudAlarm alarm;
  EXPECT_FALSE(mgr->InitCloudAlarmFromJson("{\n\"a\": 1,\n}", alarm));
  EXPECT_THAT(Log(), ElementsAre("3 InitCloudAlarmFromJson: Failed to parse (pos: 11  text: string "
                                 "or '}' expected near '}') cloud alarm: ({\n\"a\": 1,\n})"));
}

TEST_F(EventConversionTest, Takes_the_last_of_two_members_of_one_name) {
  CloudAlarm alarm;
  EXPECT_TRUE(mgr->InitCloudAlarmFromJson(
      R"({"MessageId": "Zarvel.GDD.9", "MessageId": "Zarvel.GDD.10", "Severity": "Alarm",
          "MessageArgs": ["", "", "0"]})",
      alarm));
  EXPECT_EQ(alarm.GetEventId(), 10u);
}

TEST_F(EventConversionTest, Reads_an_event_number_as_a_decimal_one) {
  EXPECT_EQ(NumberOf("010"), 10u);
  EXPECT_EQ(NumberOf("0x10"), 0u);
}

TEST_F(EventConversionTest, Refuses_a_bare_value) {
  CloudAlarm alarm;
  EXPECT_FALSE(mgr->InitCloudAlarmFromJson("5", alarm));
  EXPECT_THAT(Log(), ElementsAre("3 InitCloudAlarmFromJson: Failed to parse (pos: 1  text: '[' or "
                                 "'{' expected near '5') cloud alarm: (5)"));
}

TEST_F(EventConversionTest, Refuses_a_document_nested_too_deep) {
  CloudAlarm alarm;
  EXPECT_FALSE(mgr->InitCloudAlarmFromJson(std::string(100000, '['), alarm));
  EXPECT_THAT(Log(), ElementsAre(StartsWith(
                         "3 InitCloudAlarmFromJson: Failed to parse (pos: 2049  text: maximum "
                         "parsing depth reached near '[') cloud alarm: ([[[")));
}

TEST_F(EventConversionTest, Refuses_documents_without_members) {
  ExpectRefused("{}");
  ExpectRefused("[]");
  ExpectRefused(R"({"Severity": "Alarm", "MessageArgs": ["", "", "0"]})");
  ExpectRefused(R"({"MessageId": "Zarvel.GDD.10", "MessageArgs": ["", "", "0"]})");
  ExpectRefused(R"({"MessageId": "Zarvel.GDD.10", "Severity": "Alarm"})");
}

TEST_F(EventConversionTest, Refuses_empty_texts) {
  ExpectRefused(Document(""));
  ExpectRefused(Document("Zarvel.GDD."));
  ExpectRefused(Document("Zarvel.GDD.10", ""));
  ExpectRefused(Document("Zarvel.GDD.10", "Alarm", ""));
}

TEST_F(EventConversionTest, Refuses_two_arguments_and_arguments_that_are_no_array) {
  const std::string begin =
      R"({"MessageId": "Zarvel.GDD.10", "Severity": "Alarm", "MessageArgs": )";
  ExpectRefused(begin + "[]}");
  ExpectRefused(begin + R"(["Unit1", "System"]})");
  ExpectRefused(begin + R"("0"})");
  ExpectRefused(begin + R"({"2": "0"}})");
  ExpectRefused(begin + "null}");
}

TEST_F(EventConversionTest, Refuses_numbers_in_place_of_texts) {
  ExpectRefused(R"({"MessageId": 10, "Severity": "Alarm", "MessageArgs": ["", "", "0"]})");
  ExpectRefused(R"({"MessageId": "Zarvel.GDD.10", "Severity": 3, "MessageArgs": ["", "", "0"]})");
  ExpectRefused(
      R"({"MessageId": "Zarvel.GDD.10", "Severity": "Alarm", "MessageArgs": ["", "", 0]})");
  ExpectRefused(
      R"({"MessageId": "Zarvel.GDD.10", "Severity": "Alarm", "MessageArgs": ["", "", null]})");
}

// The reader of the service's other shape of an alarm.
class SingleAlarmTest : public AlarmTest {
 protected:
  void Get() { mgr->GetAlarmFromCloud(&client, "/alarm/1", alarms); }
  void ServiceAnswers(const std::string& body) { service.answers("GET", "/alarm/1", 200, body); }

  std::vector<CloudAlarm> alarms;
};

TEST_F(SingleAlarmTest, Is_read_by_the_client_that_is_given) {
  ServiceAnswers(R"({"AlarmId": 10, "AlarmDescription": "", "NotifyType": "Alarm",
                     "StatusChangeTime": ""})");
  mgr->SetHttpsClient(nullptr);
  Get();
  EXPECT_THAT(alarms, SizeIs(1));
}

TEST_F(SingleAlarmTest, Is_read_and_added) {
  ServiceAnswers(R"({"AlarmId": 10, "AlarmDescription": "Fan failed.", "NotifyType": "Alarm",
                     "StatusChangeTime": "then"})");
  Get();
  Get();
  ASSERT_THAT(alarms, SizeIs(2));
  EXPECT_EQ(alarms[1].GetEventId(), 10u);
  EXPECT_EQ(alarms[1].GetMessageId(), "Zarvel.GDD.10");
  EXPECT_EQ(alarms[1].GetMessage(), "Fan failed.");
  EXPECT_EQ(alarms[1].GetSeverity(), "Alarm");
  EXPECT_EQ(alarms[1].GetCreated(), "then");
  EXPECT_EQ(alarms[1].GetMessageArg(), 0);
  EXPECT_EQ(service.requests()[0].url, "https://cloud.example/alarm/1");
  EXPECT_EQ(service.requests()[0].Header("X-Auth-Token"), "token-1");
  EXPECT_THAT(Log(), IsEmpty());
}

TEST_F(SingleAlarmTest, Takes_the_last_of_two_members_of_one_name) {
  ServiceAnswers(R"({"AlarmId": 9, "AlarmId": 10, "AlarmDescription": "", "NotifyType": "Alarm",
                     "StatusChangeTime": ""})");
  Get();
  ASSERT_THAT(alarms, SizeIs(1));
  EXPECT_EQ(alarms[0].GetEventId(), 10u);
}

TEST_F(SingleAlarmTest, Is_asked_for_at_its_reference_as_it_is) {
  mgr->GetAlarmFromCloud(&client, "alarm/1", alarms);
  EXPECT_EQ(service.requests()[0].url, "https://cloud.examplealarm/1");
}

TEST_F(SingleAlarmTest, That_is_cleared_has_the_time_of_its_clearing) {
  ServiceAnswers(R"({"AlarmId": 10, "AlarmDescription": "", "NotifyType": "Cleared",
                     "StatusChangeTime": "then"})");
  Get();
  ASSERT_THAT(alarms, SizeIs(1));
  EXPECT_EQ(alarms[0].GetClearedTime(), kNow);
  EXPECT_EQ(alarms[0].GetCreated(), "then");
}

TEST_F(SingleAlarmTest, A_number_beyond_its_bounds_is_the_bound) {
  for (const char* number : {"65546", "4294967295", "4294967306", "-1"}) {
    ServiceAnswers("{\"AlarmId\": " + std::string(number) +
                   R"(, "AlarmDescription": "", "NotifyType": "Alarm", "StatusChangeTime": ""})");
    Get();
  }
  ASSERT_THAT(alarms, SizeIs(4));
  EXPECT_EQ(alarms[0].GetEventId(), 65546u);
  EXPECT_EQ(alarms[1].GetEventId(), 4294967295u);
  EXPECT_EQ(alarms[2].GetEventId(), 4294967295u);
  EXPECT_EQ(alarms[3].GetEventId(), 0u);
}

TEST_F(SingleAlarmTest, Members_of_other_types_read_as_empty) {
  ServiceAnswers(R"({"AlarmId": "10", "AlarmDescription": 1, "NotifyType": [],
                     "StatusChangeTime": null})");
  Get();
  ASSERT_THAT(alarms, SizeIs(1));
  EXPECT_EQ(alarms[0].GetMessageId(), "Zarvel.GDD.0");
  EXPECT_EQ(alarms[0].GetMessage(), "");
  EXPECT_EQ(alarms[0].GetSeverity(), "");
  EXPECT_EQ(alarms[0].GetCreated(), "");
}

TEST_F(SingleAlarmTest, Is_not_read_without_URL) {
  platform().cloud.fails["GetUrl"] = 4;
  platform().cloud.fails["GetXAuthToken"] = 6;
  Get();
  EXPECT_THAT(Log(), ElementsAre("3 GetAlarmFromCloud: Failed to get cloud service URL (ccr: 4)"));
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(SingleAlarmTest, Is_not_read_without_token) {
  platform().cloud.fails["GetXAuthToken"] = 6;
  Get();
  EXPECT_THAT(Log(), ElementsAre("3 GetAlarmFromCloud: missing xauth token (ccr: 6)"));
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(SingleAlarmTest, A_refusal_is_told) {
  service.answers("GET", "/alarm/1", 403);
  Get();
  EXPECT_THAT(Log(), ElementsAre("3 GetAlarmFromCloud: Failed to get (9) the Alarm (/alarm/1) from "
                                 "the Cloud Service (ccr: 0)"));
  EXPECT_THAT(alarms, IsEmpty());
}

TEST_F(SingleAlarmTest, That_cannot_be_cut_is_told) {
  ServiceAnswers("{}");
  AnswersWithTrailer("/alarm/1", kLongTrailer);
  Get();
  EXPECT_THAT(Log(), ElementsAre("3 GetAlarmFromCloud: answer without a body to cut  url: "
                                 "https://cloud.example/alarm/1"));
  EXPECT_THAT(alarms, IsEmpty());
}

TEST_F(SingleAlarmTest, That_is_not_JSON_is_told) {
  for (const char* body : {"", "nonsense", "5"}) {
    ForgetLog();
    ServiceAnswers(body);
    Get();
    EXPECT_THAT(Log(), ElementsAre("3 GetAlarmFromCloud: failed to parse alarm document (ccr: 0)"));
  }
  EXPECT_THAT(alarms, IsEmpty());
}

TEST_F(SingleAlarmTest, Without_a_member_is_told) {
  for (const char* body :
       {R"([])", R"({"AlarmDescription": "", "NotifyType": "", "StatusChangeTime": ""})",
        R"({"AlarmId": 10, "NotifyType": "", "StatusChangeTime": ""})",
        R"({"AlarmId": 10, "AlarmDescription": "", "StatusChangeTime": ""})",
        R"({"AlarmId": 10, "AlarmDescription": "", "NotifyType": ""})"}) {
    ForgetLog();
    ServiceAnswers(body);
    Get();
    EXPECT_THAT(Log(), ElementsAre("3 GetAlarmFromCloud: Failed to parse an alarm object")) << body;
  }
  EXPECT_THAT(alarms, IsEmpty());
}

}  // namespace
}  // namespace cloudclient
