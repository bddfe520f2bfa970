// SPDX-License-Identifier: Apache-2.0
// Changes of value and the delivery of all resources.
#include "PatchTest.h"
#include "base/Policy.h"

namespace patch_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class DeliveryTest : public PatchTest {
 protected:
  void SetUp() override {
    PatchTest::SetUp();
    platform().cloud.token = "token-1";
    service.answers("PATCH", "*", 204).answers("POST", "*", 201);
    platform().pages.texts["patch/thermal"] = "{\"thermal\": 1}";
    SetReading(value, 0, 215);
  }

  int32_t Process(int32_t pointId, uint32_t device = 1) {
    return patch.ProcessCOV(device, pointId, 0, value, &client, "17", "uuid-of-cov", "label-1");
  }

  static std::string PointWithEvent() {
    return Point("1", R"("pld": "v", "event": {"msgid": "m"})");
  }

  CovValue value;
};

TEST_F(DeliveryTest, Sends_the_resource_of_the_point) {
  Loaded(Map(kThermal, Point("1", R"("pld": "v")")));
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /redfish/v1/Chassis/17/Thermal"));
  EXPECT_EQ(service.requests()[0].document, "{\"thermal\": 1}");
  EXPECT_THAT(PagesAsked(), ElementsAre("patch/thermal"));
  EXPECT_THAT(platform().proxy.pointsAsked, IsEmpty());
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
}

TEST_F(DeliveryTest, Of_an_unknown_point_is_kPatchUnknownPoint_and_silent) {
  Loaded(Map(kThermal, Point("1", R"("pld": "v")")));
  EXPECT_EQ(Process(2), 4);
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(platform().pages.asked, IsEmpty());
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
  EXPECT_THAT(patch.GetMap().Points(), SizeIs(1));
  EXPECT_THAT(patch.GetMap().PointResources(), SizeIs(1));
}

TEST_F(DeliveryTest, Of_a_group_without_a_resource_is_kPatchFailed_and_silent) {
  Loaded(R"({"resourceUrls": [], "thermal": [)" + PointWithEvent() + "]}");
  EXPECT_EQ(Process(1), 1);
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
  EXPECT_THAT(patch.GetMap().Resources(), IsEmpty());
  EXPECT_THAT(patch.GetMap().Points(), SizeIs(1));
  EXPECT_THAT(patch.GetMap().PointResources(), SizeIs(1));
}

TEST_F(DeliveryTest, Of_a_group_without_a_resource_takes_no_reading_into_the_day) {
  Loaded(R"({"resourceUrls": [], "thermal": [)" +
         Point("1", R"("pld": "v", "7dayTempAccum": true)") + "]}");
  patch.NewDayAccumulators();
  EXPECT_EQ(Process(1), 1);
  ASSERT_THAT(patch.GetAccumulators(), SizeIs(1));
  EXPECT_EQ(patch.GetAccumulators().begin()->second.highTempText, "0");
  EXPECT_EQ(patch.GetAccumulators().begin()->second.lowTempText, "500");
}

TEST_F(DeliveryTest, Puts_the_managers_uuid_in_place_of_its_tag) {
  Loaded(Map(R"("url": "/redfish/v1/Managers/<uuid>/<chassisid>", "resourceTag": "<uuid>",
                "resourcePatch": "patch/thermal")",
             Point("1", R"("pld": "v")")));
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /redfish/v1/Managers/uuid-of-cov/<chassisid>"));
}

TEST_F(DeliveryTest, Puts_nothing_in_place_of_another_tag) {
  Loaded(Map(R"("url": "/a/<ChassisId>/<chassisid>", "resourceTag": "<ChassisId>",
                "resourcePatch": "patch/thermal")",
             Point("1", R"("pld": "v")")));
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /a//<chassisid>"));
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
}

TEST_F(DeliveryTest, Sends_an_empty_document_all_the_same) {
  platform().pages.texts.clear();
  Loaded(Map(kThermal, Point("1", R"("pld": "v")")));
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /redfish/v1/Chassis/17/Thermal"));
  EXPECT_EQ(service.requests()[0].document, "");
  EXPECT_THAT(platform().log.Lines(),
              ElementsAre("3 PatchMgr GetPatchDoc: Failed to get patch patch/thermal"));
}

TEST_F(DeliveryTest, Edits_the_document_as_the_resource_says) {
  platform().pages.texts["patch/thermal"] = "[7dayhightemp,temp_uom_celsius~12]";
  platform().proxy.points[12] = "21";
  const std::string page = R"("resourcePatch": "patch/thermal")";
  Loaded(R"({"resourceUrls": [
              {"name": "a", "url": "/a", )" +
         page + R"(},
              {"name": "b", "url": "/b", "7dayAccum": true, )" +
         page + R"(},
              {"name": "c", "url": "/c", "tempUomCelsius": true, )" +
         page + R"(},
              {"name": "d", "url": "/d", "7dayAccum": true, "tempUomCelsius": true, )" +
         page + R"(}], "a": [)" + Point("1", R"("pld": "v")") + R"(], "b": [)" +
         Point("2", R"("pld": "v")") + R"(], "c": [)" + Point("3", R"("pld": "v")") +
         R"(], "d": [)" + Point("4", R"("pld": "v")") + "]}");
  for (const int32_t point : {1, 2, 3, 4}) EXPECT_EQ(Process(point), 0);
  ASSERT_THAT(service.lines(), ElementsAre("PATCH /a", "PATCH /b", "PATCH /c", "PATCH /d"));
  EXPECT_EQ(service.requests()[0].document, "[7dayhightemp,temp_uom_celsius~12]");
  EXPECT_EQ(service.requests()[1].document, "[null,temp_uom_celsius~12]");
  EXPECT_EQ(service.requests()[2].document, "[7dayhightemp,21]");
  EXPECT_EQ(service.requests()[3].document, "[null,21]");
}

TEST_F(DeliveryTest, Fills_seven_day_values_before_temperatures) {
  platform().pages.texts["patch/thermal"] = "[temp_uom_celsius~12]";
  platform().proxy.points[12] = "7dayhightemp";
  Loaded(Map(std::string(kThermal) + R"(, "7dayAccum": true, "tempUomCelsius": true)",
             Point("1", R"("pld": "v")")));
  EXPECT_EQ(Process(1), 0);
  EXPECT_EQ(service.requests()[0].document, "[7dayhightemp]");
}

TEST_F(DeliveryTest, Uses_the_low_16_bits_of_the_device) {
  platform().pages.texts["patch/thermal"] = "[temp_uom_celsius~12]";
  Loaded(Map(std::string(kThermal) + R"(, "tempUomCelsius": true)",
             Point("1", R"("pld": "v", "event": {"msgid": "m", "numargs": 1, "arg1": "a",
                           "arg1Type": "pld"})")));
  EXPECT_EQ(Process(1, 0x00050011), 0);
  ASSERT_THAT(PagesAsked(), ElementsAre("patch/thermal", kValuePage));
  EXPECT_EQ(platform().pages.asked[0].velId, 0x11);
  EXPECT_EQ(platform().pages.asked[1].velId, 0x11);
  ASSERT_THAT(platform().proxy.pointsAsked, SizeIs(1));
  EXPECT_EQ(platform().proxy.pointsAsked[0].device, 0x11);
}

TEST_F(DeliveryTest, Posts_the_points_event_after_its_resource) {
  Loaded(Map(kThermal, PointWithEvent()));
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(service.lines(),
              ElementsAre("PATCH /redfish/v1/Chassis/17/Thermal", std::string("POST ") + kEvents));
}

TEST_F(DeliveryTest, A_resource_that_can_not_be_sent_suppresses_the_event) {
  Loaded(Map(kThermal, PointWithEvent()));
  service.answers("PATCH", "*", 400);
  EXPECT_EQ(Process(1), 1);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /redfish/v1/Chassis/17/Thermal"));
  EXPECT_THAT(Lines(), ElementsAre("3 SendResourceToCloud: Failed to PATCH :\n{\"thermal\": 1}"));
}

// Several changes at once.
class NewestTest : public DeliveryTest {
 protected:
  void SetUp() override {
    DeliveryTest::SetUp();
    platform().pages.texts["patch/power"] = "{\"power\": 1}";
    const std::string withEvent = R"("pld": "v", "event": {"msgid": "m"})";
    Loaded(R"({"resourceUrls": [
                {"name": "thermal", "url": "/thermal", "resourcePatch": "patch/thermal"},
                {"name": "power", "url": "/power", "resourcePatch": "patch/power"}],
              "thermal": [)" +
           Point("1", withEvent) + ", " + Point("3", R"("pld": "v", "7dayTempAccum": true)") +
           ", " + Point("4", withEvent) + R"(], "power": [)" + Point("2", withEvent) + "]}");
  }

  void Process(const std::vector<int32_t>& points, int requests = 100) {
    std::vector<cloudclient::PointChange> changes;
    for (const int32_t point : points) changes.push_back({1, point, 0, 215});
    patch.ProcessNewestCOVs(changes, &client, "17", "uuid-of-cov", "label-1",
                            [&requests] { return requests-- > 0; });
  }

  const std::string event = std::string("POST ") + kEvents;
};

TEST_F(NewestTest, Of_one_resource_are_one_patch_and_an_event_a_point) {
  Process({1, 2, 3, 4});
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /power", event, "PATCH /thermal", event, event));
}

TEST_F(NewestTest, Are_in_the_day_before_a_resource_is_sent) {
  patch.NewDayAccumulators();
  service.answers("PATCH", "*", 400);
  Process({3});
  EXPECT_EQ(patch.GetAccumulators().begin()->second.highTemp, 215);
}

TEST_F(NewestTest, Hold_back_the_events_of_a_refused_resource_alone) {
  service.answers("PATCH", "/power", 400);
  Process({1, 2});
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /power", "PATCH /thermal", event));
}

TEST_F(NewestTest, Of_points_that_are_not_known_send_nothing) {
  Process({7, 8});
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
}

TEST_F(NewestTest, End_after_the_request_under_way) {
  Process({1, 2}, 1);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /power"));
  Process({1, 2}, 2);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /power", "PATCH /power", event));
}

TEST_F(DeliveryTest, Goes_on_after_a_refused_document) {
  Loaded(Map(kThermal, PointWithEvent()));
  service.answersOnce("PATCH", "/redfish/v1/Chassis/17/Thermal", 500);
  EXPECT_EQ(Process(1), 1);
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(service.lines(), SizeIs(3));
}

TEST_F(DeliveryTest, A_refused_event_counts_as_sent) {
  Loaded(Map(kThermal, PointWithEvent()));
  service.answers("POST", "*", 400);
  EXPECT_EQ(Process(1), 0);
}

// Makes the cloud section's operation fail from its second call on.
void FailsFromSecond(fakes::CloudConfig& cloud, const std::string& operation, int code) {
  auto calls = std::make_shared<int>(0);
  cloud.onCall = [&cloud, operation, code, calls](const std::string& called) {
    if (called == operation && ++*calls == 2) cloud.fails[operation] = code;
  };
}

TEST_F(DeliveryTest, Of_an_event_without_the_base_url_is_kPatchFailed) {
  Loaded(Map(kThermal, PointWithEvent()));
  FailsFromSecond(platform().cloud, "GetUrl", 12);
  EXPECT_EQ(Process(1), 1);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /redfish/v1/Chassis/17/Thermal"));
  EXPECT_THAT(platform().log.Lines(),
              ElementsAre("3 PatchMgr SendEventForPoint: Failed to get the cloud service URL",
                          "4 PatchMgr ProcessCOV: Failed(1) to send event for point 1"));
}

TEST_F(DeliveryTest, Of_an_event_that_can_not_be_built_is_kPatchEventNotBuilt) {
  Loaded(Map(kThermal, PointWithEvent()));
  EXPECT_EQ(patch.ProcessCOV(1, 1, 0, value, &client, "17", "u", "\xFF"), 5);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /redfish/v1/Chassis/17/Thermal"));
  EXPECT_THAT(platform().log.Lines(),
              ElementsAre("4 PatchMgr ProcessCOV: Failed(5) to send event for point 1"));
}

// Accumulator points.

TEST_F(DeliveryTest, Takes_the_reading_before_the_document_is_rendered) {
  platform().pages.texts["patch/thermal"] = "7dayhightemp";
  HasDocument("v", "21");
  Loaded(Map(std::string(kThermal) + R"(, "7dayAccum": true)",
             Point("1", R"("pld": "v", "7dayTempAccum": true)")));
  patch.NewDayAccumulators();
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(PagesAsked(), ElementsAre(kValuePage, "patch/thermal"));
  EXPECT_EQ(service.requests()[0].document, "21");
}

TEST_F(DeliveryTest, Reads_the_value_high_byte_first) {
  HasDocument("v", "21");
  Loaded(Map(kThermal, Point("1", R"("pld": "v", "7dayTempAccum": true)")));
  patch.NewDayAccumulators();
  SetReading(value, 0x00, 0xD7);
  EXPECT_EQ(Process(1), 0);
  EXPECT_EQ(patch.GetAccumulators().begin()->second.lowTemp, 215);
  EXPECT_EQ(patch.GetAccumulators().begin()->second.highTemp, 215);
  SetReading(value, 0xFF, 0x9C);
  EXPECT_EQ(Process(1), 0);
  EXPECT_EQ(patch.GetAccumulators().begin()->second.highTemp, 0xFF9C);
}

TEST_F(DeliveryTest, Takes_the_reading_into_todays_record_and_not_into_the_newest) {
  HasDocument("v", "21");
  Loaded(Map(kThermal, Point("1", R"("pld": "v", "7dayTempAccum": true)")));
  patch.NewDayAccumulators();
  const time_t today = patch.GetDayKey();
  platform().clock.now += 2 * 86400;
  patch.NewDayAccumulators();
  platform().clock.now -= 2 * 86400;  // the clock was set back
  SetReading(value, 0x00, 0xD7);
  EXPECT_EQ(Process(1), 0);
  ASSERT_THAT(patch.GetAccumulators(), SizeIs(2));
  EXPECT_EQ(patch.GetAccumulators().at(today).highTemp, 215);
  EXPECT_EQ(patch.GetAccumulators().rbegin()->second.highTemp, 0);
}

TEST_F(DeliveryTest, Loses_the_reading_of_a_day_that_was_not_begun) {
  HasDocument("v", "21");
  Loaded(Map(kThermal, Point("1", R"("pld": "v", "7dayTempAccum": true)")));
  patch.NewDayAccumulators();
  platform().clock.now += 86400;
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(platform().log.Lines(),
              ElementsAre("3 PatchMgr AccumulatorUpdate: Missing accumulator entry"));
  ASSERT_THAT(patch.GetAccumulators(), SizeIs(1));
  EXPECT_EQ(patch.GetAccumulators().begin()->second.highTemp, 0);
}

TEST_F(DeliveryTest, Takes_readings_of_humidity) {
  HasDocument("v", "45");
  Loaded(Map(kThermal, Point("1", R"("pld": "v", "7dayHumAccum": true)")));
  patch.NewDayAccumulators();
  SetReading(value, 0x01, 0xC2);
  EXPECT_EQ(Process(1), 0);
  EXPECT_EQ(patch.GetAccumulators().begin()->second.lowHum, 450);
  EXPECT_EQ(patch.GetAccumulators().begin()->second.highHumText, "45");
  EXPECT_EQ(patch.GetAccumulators().begin()->second.highTemp, 0);
}

TEST_F(DeliveryTest, Sends_the_resource_although_the_reading_is_lost) {
  Loaded(Map(kThermal, Point("1", R"("pld": "v", "7dayHumAccum": true)")));
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(service.requests(), SizeIs(1));
  EXPECT_THAT(platform().log.Lines(),
              ElementsAre("3 PatchMgr AccumulatorUpdate: Missing accumulator entry"));
  EXPECT_THAT(patch.GetAccumulators(), IsEmpty());
}

TEST_F(DeliveryTest, Of_an_ordinary_point_does_not_read_its_value) {
  Loaded(Map(kThermal, Point("1", R"("pldQueryArgs": "1,1,0,0,0")")));
  patch.NewDayAccumulators();
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(platform().proxy.pointsAsked, IsEmpty());
  EXPECT_EQ(patch.GetAccumulators().begin()->second, cloudclient::DayAccumulator());
}

// All resources.

class AllResourcesTest : public DeliveryTest {
 protected:
  void SetUp() override {
    DeliveryTest::SetUp();
    platform().pages.texts = {{"page/a", "[7dayhightemp,temp_uom_celsius~12]"},
                              {"page/b", "7dayhightemp"},
                              {"page/c", "{temp_uom_celsius~12}"}};
    platform().proxy.points[12] = "21";
    Loaded(R"({"resourceUrls": [
        {"name": "c", "url": "/c/<uuid>", "resourceTag": "<uuid>", "resourcePatch": "page/c",
         "tempUomCelsius": true},
        {"name": "a", "url": "/a/<chassisid>", "resourceTag": "<chassisid>",
         "resourcePatch": "page/a", "7dayAccum": true, "tempUomCelsius": true},
        {"name": "b", "url": "/b/<x>", "resourceTag": "<x>", "resourcePatch": "page/b"}]})");
  }
};

TEST_F(AllResourcesTest, Are_sent_in_ascending_order_of_their_names_and_edited) {
  patch.SendAllResourcesToCloud(7, "17", "uuid-1", &client);
  ASSERT_THAT(service.lines(), ElementsAre("PATCH /a/17", "PATCH /b/", "PATCH /c/uuid-1"));
  EXPECT_EQ(service.requests()[0].document, "[null,21]");
  EXPECT_EQ(service.requests()[1].document, "7dayhightemp");
  EXPECT_EQ(service.requests()[2].document, "{21}");
  EXPECT_THAT(PagesAsked(), ElementsAre("page/a", "page/b", "page/c"));
  for (const fakes::Page& page : platform().pages.asked) EXPECT_EQ(page.velId, 7);
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
}

TEST_F(AllResourcesTest, Pages_and_tags_are_those_of_the_device_of_the_low_16_bits) {
  patch.SendAllResourcesToCloud(70000, "17", "uuid-1", &client);
  ASSERT_THAT(service.requests(), SizeIs(3));
  for (const fakes::Page& page : platform().pages.asked) EXPECT_EQ(page.velId, 4464);
  ASSERT_THAT(platform().proxy.pointsAsked, SizeIs(2));
  for (const fakes::PointQuery& query : platform().proxy.pointsAsked) {
    EXPECT_EQ(query.device, 4464);
  }
}

TEST_F(AllResourcesTest, Go_on_after_one_that_fails) {
  service.answers("PATCH", "/a/17", 500);
  platform().pages.texts.erase("page/b");
  patch.SendAllResourcesToCloud(7, "17", "uuid-1", &client);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /a/17", "PATCH /b/", "PATCH /c/uuid-1"));
  EXPECT_THAT(Lines(), ElementsAre("3 SendResourceToCloud: Failed to PATCH :\n[null,21]",
                                   "3 GetPatchDoc: Failed to get patch page/b"));
}

TEST_F(AllResourcesTest, Each_tell_what_is_missing) {
  platform().cloud.fails["GetUrl"] = 9;
  patch.SendAllResourcesToCloud(7, "17", "uuid-1", &client);
  EXPECT_THAT(service.requests(), IsEmpty());
  const std::string line = "3 SendResourceToCloud: Failed(9) to get resource URI";
  EXPECT_THAT(Lines(), ElementsAre(line, line, line));
}

TEST_F(DeliveryTest, Of_all_resources_without_a_map_sends_nothing) {
  patch.SendAllResourcesToCloud(7, "17", "uuid-1", &client);
  EXPECT_THAT(service.requests(), IsEmpty());
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
}

// With an outbox; each case is a process of its own, with its own policy.
class OutboxDeliveryTest : public DeliveryTest {
 protected:
  void SetUp() override {
    DeliveryTest::SetUp();
    platform().cloud.chassis["17"] = 1;
    patch.SetOutbox(&outbox);
  }
  static void Use(cloudclient::Policy::Changes::Deliver deliver, const char* folder = "/outbox") {
    cloudclient::Policy policy;
    policy.changes.deliver = deliver;
    policy.outbox.folder = folder;
    cloudclient::UsePolicy(policy);
  }
  void Send() {
    outbox.Send(&client, [] { return true; });
  }

  cloudclient::Outbox outbox;
};

using Deliver = cloudclient::Policy::Changes::Deliver;

TEST_F(OutboxDeliveryTest, With_all_change_and_event_wait_there_in_order) {
  Use(Deliver::kAll);
  Loaded(Map(kThermal, PointWithEvent()));
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(service.lines(), IsEmpty());
  EXPECT_EQ(Process(1), 0);
  Send();
  const std::string patched = "PATCH /redfish/v1/Chassis/17/Thermal";
  const std::string posted = std::string("POST ") + kEvents;
  EXPECT_THAT(service.lines(), ElementsAre(patched, posted, patched, posted));
  EXPECT_EQ(service.requests()[0].document, "{\"thermal\": 1}");
}

TEST_F(OutboxDeliveryTest, Else_the_change_is_sent_and_its_event_waits) {
  for (const Deliver deliver : {Deliver::kFirst, Deliver::kLatest}) {
    Use(deliver);
    Loaded(Map(kThermal, PointWithEvent()));
    service.forget();
    EXPECT_EQ(Process(1), 0);
    EXPECT_THAT(service.lines(), ElementsAre("PATCH /redfish/v1/Chassis/17/Thermal"));
    Send();
    EXPECT_THAT(service.lines(), SizeIs(2));
  }
}

TEST_F(OutboxDeliveryTest, An_event_is_kept_although_its_change_could_not_be_sent) {
  platform().cloud.chassis["17"] = 1;
  for (const Deliver deliver : {Deliver::kFirst, Deliver::kLatest}) {
    Use(deliver);
    Loaded(Map(kThermal, PointWithEvent()));
    service.isDown();
    Process(1);
    patch.ProcessNewestCOVs({{1, 1, 0, 215}}, &client, "17", "uuid", "label-1",
                            [] { return true; });
    service.isDown(CURLE_OK);
    service.forget();
    Send();
    EXPECT_THAT(service.lines(),
                ElementsAre(std::string("POST ") + kEvents, std::string("POST ") + kEvents));
  }
}

TEST_F(OutboxDeliveryTest, All_resources_are_sent_at_once) {
  Use(Deliver::kAll);
  Loaded(Map(kThermal, PointWithEvent()));
  patch.SendAllResourcesToCloud(1, "17", "uuid", &client);
  EXPECT_THAT(service.lines(), ElementsAre("PATCH /redfish/v1/Chassis/17/Thermal"));
}

TEST_F(OutboxDeliveryTest, Without_one_in_the_policy_everything_is_sent_at_once) {
  Use(Deliver::kAll, "");
  Loaded(Map(kThermal, PointWithEvent()));
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(service.lines(), SizeIs(2));
  EXPECT_FALSE(service.requests()[1].HasHeader("Message-Key"));
}

TEST_F(OutboxDeliveryTest, What_can_not_be_put_is_sent_at_once) {
  Use(Deliver::kAll, "/var/local/orv/pldserver/0/1/covpatchmap.txt/outbox");
  Loaded(Map(kThermal, PointWithEvent()));
  EXPECT_EQ(Process(1), 0);
  EXPECT_THAT(service.lines(), SizeIs(2));
}

}  // namespace
}  // namespace patch_test
