// SPDX-License-Identifier: Apache-2.0
// Point events: their documents and their post.
#include "PatchTest.h"

namespace patch_test {
namespace {

using cloudclient::PointPatchEntry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kUri[] =
    "https://cloud.example/redfish/v1/Managers/6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11"
    "/Oem/Quorvan:Events";

class PointEventTest : public PatchTest {
 protected:
  void SetUp() override {
    PatchTest::SetUp();
    platform().cloud.token = "token-1";
    service.answers("POST", "*", 201);
    HasDocument("A", "a");
    HasDocument("B", "b");
    Loaded(Map(kThermal, Point("1", R"("pld": "v")")));
  }

  int32_t Sent(const PointPatchEntry& entry, int32_t pointId = 1) {
    return patch.SendEventForPoint(3, pointId, 9, entry, &client, "17", "label-1");
  }

  static PointPatchEntry Event(int32_t numArgs) {
    PointPatchEntry entry;
    entry.msgid = "TemperatureChanged";
    entry.message = "from %1 to %2";
    entry.severity = "OK";
    entry.numArgs = numArgs;
    entry.arg1 = "A";
    entry.arg1Type = "pld";
    entry.arg2 = "B";
    entry.arg2Type = "pld";
    return entry;
  }

  // The whole document of an event with this message and these arguments.
  static std::string Document(const std::string& message, const std::string& args,
                              const std::string& origin = "/redfish/v1/Chassis/17",
                              const std::string& created = "2026-03-05T13:07:09Z") {
    return R"({"Severity": "MESSAGE", "Message": ")" + message +
           R"(", "MessageId": "TemperatureChanged", "MessageArgs": [)" + args +
           R"(], "Created": ")" + created + R"(", "OriginOfCondition": {"@odata.id": ")" + origin +
           "\"}}";
  }

  // Lines of the patch manager below trace.
  std::vector<std::string> Failures() const {
    std::vector<std::string> lines;
    for (const std::string& line : Lines()) {
      if (line[0] < '7') lines.push_back(line);
    }
    return lines;
  }

  // The document that was posted.
  std::string Posted() const {
    return service.requests().empty() ? "nothing" : service.requests().back().document;
  }
};

TEST_F(PointEventTest, Of_no_arguments_has_an_empty_message_and_four_arguments) {
  EXPECT_EQ(Sent(Event(0)), 0);
  EXPECT_EQ(Posted(), Document("", R"("unit-1", "label-1", "", "")"));
}

TEST_F(PointEventTest, Of_one_argument) {
  EXPECT_EQ(Sent(Event(1)), 0);
  EXPECT_EQ(Posted(), Document("from a to %2", R"("unit-1", "label-1", "a", "")"));
}

TEST_F(PointEventTest, Of_two_arguments) {
  EXPECT_EQ(Sent(Event(2)), 0);
  EXPECT_EQ(Posted(), Document("from a to %2b", R"("unit-1", "label-1", "a", "b")"));
}

TEST_F(PointEventTest, Of_three_arguments) {
  EXPECT_EQ(Sent(Event(3)), 0);
  EXPECT_EQ(Posted(), Document("from a to %2b", R"("unit-1", "label-1", "a", "b")"));
}

TEST_F(PointEventTest, Goes_to_the_managers_collection_with_the_token) {
  EXPECT_EQ(Sent(Event(0)), 0);
  ASSERT_THAT(service.requests(), SizeIs(1));
  EXPECT_EQ(service.requests()[0].method, "POST");
  EXPECT_EQ(service.requests()[0].url, kUri);
  EXPECT_EQ(service.requests()[0].Header("X-Auth-Token"), "token-1");
}

TEST_F(PointEventTest, Escapes_what_JSON_asks_for) {
  HasDocument("A", "\\ \n\xC3\xA9");
  EXPECT_EQ(Sent(Event(1)), 0);
  EXPECT_EQ(Posted(), Document("from \\\\ \\n\xC3\xA9 to %2",
                               "\"unit-1\", \"label-1\", \"\\\\ \\n\xC3\xA9\", \"\""));
}

TEST_F(PointEventTest, Is_created_at_local_time_with_a_literal_Z) {
  fakes::SetTimeZone("CET-1");
  EXPECT_EQ(Sent(Event(0)), 0);
  EXPECT_EQ(Posted(), Document("", R"("unit-1", "label-1", "", "")", "/redfish/v1/Chassis/17",
                               "2026-03-05T14:07:09Z"));
}

TEST_F(PointEventTest, Has_an_empty_time_that_can_not_be_formatted) {
  const FailingStrftime failing;
  EXPECT_EQ(Sent(Event(0)), 0);
  EXPECT_EQ(Posted(), Document("", R"("unit-1", "label-1", "", "")", "/redfish/v1/Chassis/17", ""));
}

TEST_F(PointEventTest, Leaves_out_a_unit_name_that_can_not_be_read) {
  platform().cloud.fails["GetUnitName"] = 6;
  EXPECT_EQ(Sent(Event(0)), 0);
  EXPECT_EQ(Posted(), Document("", R"("", "label-1", "", "")"));
  EXPECT_THAT(Failures(), ElementsAre("3 SendEventForPoint: Failed to find unit name"));
}

// Origin.

TEST_F(PointEventTest, Of_a_resource_with_another_tag_has_no_origin) {
  Loaded(R"({"resourceUrls": [{"name": "m", "url": "/m/<chassisid>", "resourceTag": "<uuid>"}],
             "m": [)" +
         Point("2", R"("pld": "v")") + "]}");
  EXPECT_EQ(Sent(Event(0), 2), 0);
  EXPECT_EQ(Posted(), Document("", R"("unit-1", "label-1", "", "")", ""));
  EXPECT_THAT(Failures(), ElementsAre("3 SendEventForPoint: unknown resource tag: <uuid>"));
}

TEST_F(PointEventTest, Of_a_url_without_the_chassis_has_no_origin) {
  Loaded(R"({"resourceUrls": [{"name": "m", "url": "/m/17", "resourceTag": "<chassisid>"}],
             "m": [)" +
         Point("2", R"("pld": "v")") + "]}");
  EXPECT_EQ(Sent(Event(0), 2), 0);
  EXPECT_EQ(Posted(), Document("", R"("unit-1", "label-1", "", "")", ""));
  EXPECT_THAT(Failures(), IsEmpty());
}

TEST_F(PointEventTest, Has_its_origin_up_to_the_first_chassis_of_the_url) {
  Loaded(R"({"resourceUrls": [{"name": "m", "url": "<chassisid>/<chassisid>",
                               "resourceTag": "<chassisid>"}], "m": [)" +
         Point("2", R"("pld": "v")") + "]}");
  EXPECT_EQ(Sent(Event(0), 2), 0);
  EXPECT_EQ(Posted(), Document("", R"("unit-1", "label-1", "", "")", "17"));
}

TEST_F(PointEventTest, Of_an_unknown_point_has_no_origin_and_adds_nothing) {
  EXPECT_EQ(Sent(Event(0), 99), 0);
  EXPECT_EQ(Posted(), Document("", R"("unit-1", "label-1", "", "")", ""));
  EXPECT_THAT(Failures(), IsEmpty());
  EXPECT_THAT(patch.GetMap().PointResources(), SizeIs(1));
  EXPECT_THAT(patch.GetMap().Resources(), SizeIs(1));
}

TEST_F(PointEventTest, Of_a_group_without_a_resource_has_no_origin_and_adds_nothing) {
  Loaded(R"({"resourceUrls": [], "m": [)" + Point("2", R"("pld": "v")") + "]}");
  EXPECT_EQ(Sent(Event(0), 2), 0);
  EXPECT_EQ(Posted(), Document("", R"("unit-1", "label-1", "", "")", ""));
  EXPECT_THAT(patch.GetMap().Resources(), SizeIs(1));
}

// What can't be sent.

TEST_F(PointEventTest, Without_the_base_url_is_kPatchFailed) {
  platform().cloud.fails["GetUrl"] = 5;
  EXPECT_EQ(Sent(Event(0)), 1);
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(Lines(), ElementsAre("3 SendEventForPoint: Failed to get the cloud service URL"));
}

TEST_F(PointEventTest, Without_the_uuid_is_kPatchFailed) {
  platform().cloud.fails["GetUUID"] = 5;
  EXPECT_EQ(Sent(Event(0)), 1);
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(Lines(), ElementsAre("3 SendEventForPoint: Failed to get the UUID"));
}

TEST_F(PointEventTest, Is_posted_with_an_empty_token_when_there_is_none) {
  platform().cloud.fails["GetXAuthToken"] = 5;
  EXPECT_EQ(Sent(Event(0)), 0);
  ASSERT_THAT(service.requests(), SizeIs(1));
  EXPECT_FALSE(service.requests()[0].HasHeader("X-Auth-Token"));
  EXPECT_THAT(Failures(), ElementsAre("3 SendEventForPoint: Failed to get xauthtoken"));
}

TEST_F(PointEventTest, Traces_its_address_and_the_answer) {
  service.answers("POST", kEvents, 201, "{\"Id\": \"5\"}");
  EXPECT_EQ(Sent(Event(0)), 0);
  const std::string header = fakes::HeaderBlock(201);
  EXPECT_THAT(Lines(), ElementsAre("7 SendEventForPoint: uri: " + std::string(kUri) + " ",
                                   "7 SendEventForPoint: hdr: " + header,
                                   "7 SendEventForPoint: resp: " + header + "{\"Id\": \"5\"}"));
}

TEST_F(PointEventTest, Refused_by_the_service_is_kPatchOk) {
  service.answers("POST", "*", 400);
  EXPECT_EQ(Sent(Event(0)), 0);
  EXPECT_THAT(Lines(), ElementsAre("7 SendEventForPoint: uri: " + std::string(kUri) + " ",
                                   "3 SendEventForPoint: Failed (6) to send event to cloud",
                                   "3 SendEventForPoint: uri: " + std::string(kUri) +
                                       "  evt: " + Document("", R"("unit-1", "label-1", "", "")")));
}

TEST_F(PointEventTest, That_did_not_reach_the_service_is_kPatchOk) {
  service.isDown();
  EXPECT_EQ(Sent(Event(0)), 0);
  EXPECT_THAT(Failures(), ElementsAre("3 SendEventForPoint: Failed (4) to send event to cloud",
                                      "3 SendEventForPoint: uri: " + std::string(kUri) + "  evt: " +
                                          Document("", R"("unit-1", "label-1", "", "")")));
}

TEST_F(PointEventTest, That_can_not_be_written_is_kPatchOk) {
  const FailingDumps failing;
  EXPECT_EQ(Sent(Event(0)), 0);
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(Lines(), ElementsAre("3 SendEventForPoint: null return from json_dumps"));
}

TEST_F(PointEventTest, Refused_by_the_service_still_moves_the_history) {
  service.answers("POST", "*", 400);
  PointPatchEntry entry = Event(2);
  entry.arg1Type = "old";
  EXPECT_EQ(Sent(entry), 0);
  EXPECT_EQ(patch.GetMap().History().at(1), "b");
}

// Text that is no UTF-8, in each place.

TEST_F(PointEventTest, With_a_label_that_is_no_UTF8_is_kPatchEventNotBuilt) {
  EXPECT_EQ(patch.SendEventForPoint(3, 1, 9, Event(2), &client, "17", "\xC3\x28"), 5);
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(PointEventTest, With_a_chassis_that_is_no_UTF8_is_kPatchEventNotBuilt) {
  EXPECT_EQ(patch.SendEventForPoint(3, 1, 9, Event(2), &client, "\xFF", "label-1"), 5);
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(PointEventTest, With_a_unit_name_that_is_no_UTF8_is_kPatchEventNotBuilt) {
  platform().cloud.unitName = "\xFF";
  EXPECT_EQ(Sent(Event(2)), 5);
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(PointEventTest, With_an_identifier_that_is_no_UTF8_is_kPatchEventNotBuilt) {
  PointPatchEntry entry = Event(2);
  entry.msgid = "\xFF";
  EXPECT_EQ(Sent(entry), 5);
  EXPECT_THAT(service.requests(), IsEmpty());
}

TEST_F(PointEventTest, With_values_that_are_no_UTF8_is_kPatchEventNotBuilt) {
  HasDocument("A", "21 \xB0");
  EXPECT_EQ(Sent(Event(1)), 5);
  HasDocument("A", "a");
  HasDocument("B", "21 \xB0");
  EXPECT_EQ(Sent(Event(2)), 5);
  EXPECT_THAT(service.requests(), IsEmpty());
}

// Whole changes of value.

TEST_F(PointEventTest, Shows_the_new_value_of_one_change_as_the_old_one_of_the_next) {
  platform().pages.texts["patch/thermal"] = "{}";
  service.answers("PATCH", "*", 204);
  cloudclient::PatchMgr fresh;
  fresh.SetPldProxy(&platform().proxy);
  Write(Map(kThermal, Point("5", R"("pld": "v", "event": {"msgid": "TemperatureChanged",
            "message": "%1 to %2", "numargs": 2, "arg1Type": "old", "arg2": "B",
            "arg2Type": "pld"})")));
  ASSERT_EQ(fresh.InitCovPatchMaps(kMapPath), 0);
  fresh.InitIdHistoryValues(3, &client);
  CovValue value;
  SetReading(value, 0, 0);
  HasDocument("B", "22");
  EXPECT_EQ(fresh.ProcessCOV(3, 5, 0, value, &client, "17", "u", "label-1"), 0);
  EXPECT_EQ(Posted(), Document("b to %222", R"("unit-1", "label-1", "b", "22")"));
  HasDocument("B", "23");
  EXPECT_EQ(fresh.ProcessCOV(3, 5, 0, value, &client, "17", "u", "label-1"), 0);
  EXPECT_EQ(Posted(), Document("22 to %223", R"("unit-1", "label-1", "22", "23")"));
}

}  // namespace
}  // namespace patch_test
