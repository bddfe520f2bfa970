// SPDX-License-Identifier: Apache-2.0
#include "HostTest.h"
#include "host/device/DeviceModel.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class DeviceModelTest : public HostTest {
 protected:
  host::DeviceModel Parse(const std::string& json) {
    json_error_t where = {};
    host::JsonRef root(json_loads(json.c_str(), JSON_ALLOW_NUL, &where));
    EXPECT_NE(root, nullptr) << where.text;
    m_problems.clear();
    return host::ParseDeviceModel(root.get(), m_problems);
  }

  std::vector<std::string> m_problems;
};

}  // namespace

TEST_F(DeviceModelTest, Empty_description_is_defaults) {
  const host::DeviceModel model = Parse("{}");
  EXPECT_THAT(m_problems, IsEmpty());
  EXPECT_EQ(model.velId, 0);
  EXPECT_FALSE(model.psi.has_value());
  EXPECT_EQ(model.label, "");
  EXPECT_EQ(model.pollSeconds, 1);
  EXPECT_THAT(model.points, IsEmpty());
  EXPECT_THAT(model.events, IsEmpty());
}

TEST_F(DeviceModelTest, Every_key_is_read) {
  const host::DeviceModel model = Parse(R"({
    "VelocityId": 12, "ProductSequenceId": "1.20.3", "Label": "Rack", "PollSeconds": 30,
    "Points": [{"Id": 1201, "Name": "t", "Value": "21", "Unit": "degC", "Decimals": 2,
                "Modules": 3, "Report": 7,
                "Source": {"Type": "file", "Path": "/sys/t", "Scale": 0.001}}],
    "Events": [{"GddId": 4711, "Text": "High", "Modules": 2, "State": "Fault",
                "When": {"Point": 1201, "Below": -3.5, "Hysteresis": 2}}]})");
  EXPECT_THAT(m_problems, IsEmpty());
  EXPECT_EQ(model.velId, 12);
  EXPECT_EQ(model.psi, "1.20.3");
  EXPECT_EQ(model.label, "Rack");
  EXPECT_EQ(model.pollSeconds, 30);
  ASSERT_EQ(model.points.size(), 1u);
  const host::PointModel& point = model.points[0];
  EXPECT_EQ(point.id, 1201);
  EXPECT_EQ(point.name, "t");
  EXPECT_EQ(point.value, "21");
  EXPECT_EQ(point.unit, "degC");
  EXPECT_EQ(point.decimals, 2);
  EXPECT_EQ(point.modules, 3u);
  EXPECT_EQ(point.report, 7u);
  ASSERT_TRUE(point.source.has_value());
  EXPECT_EQ(point.source->path, "/sys/t");
  EXPECT_EQ(point.scale, 0.001);
  ASSERT_EQ(model.events.size(), 1u);
  const host::EventModel& event = model.events[0];
  EXPECT_EQ(event.gddId, 4711);
  EXPECT_EQ(event.text, "High");
  EXPECT_EQ(event.modules, 2u);
  EXPECT_EQ(event.state, 4);
  ASSERT_TRUE(event.when.has_value());
  EXPECT_EQ(event.when->point, 1201);
  EXPECT_EQ(event.when->kind, host::WhenModel::Kind::kBelow);
  EXPECT_EQ(event.when->limit, -3.5);
  EXPECT_EQ(event.when->hysteresis, 2);
  EXPECT_EQ(event.when->state, 3);
}

TEST_F(DeviceModelTest, Rule_compares_with_a_text_or_a_number) {
  const host::DeviceModel model = Parse(R"({"Points": [{"Id": 5}], "Events": [
      {"GddId": 1, "When": {"Point": 5, "Equals": "Heating", "State": "Message"}},
      {"GddId": 2, "When": {"Point": 5, "NotEquals": 1.5, "State": "Fault"}},
      {"GddId": 3, "When": {"Point": 5, "Missing": true, "State": "Warning"}},
      {"GddId": 4, "When": {"Point": 5, "Above": 3, "State": "Alarm"}}]})");
  EXPECT_THAT(m_problems, IsEmpty());
  using Kind = host::WhenModel::Kind;
  const host::WhenModel equals = model.events.at(0).when.value();
  EXPECT_EQ(equals.kind, Kind::kEquals);
  EXPECT_FALSE(equals.operand.number.has_value());
  EXPECT_EQ(equals.operand.text, "Heating");
  EXPECT_EQ(equals.state, 1);
  const host::WhenModel notEquals = model.events.at(1).when.value();
  EXPECT_EQ(notEquals.kind, Kind::kNotEquals);
  EXPECT_EQ(notEquals.operand.number, 1.5);
  EXPECT_EQ(notEquals.state, 4);
  EXPECT_EQ(model.events.at(2).when.value().kind, Kind::kMissing);
  EXPECT_EQ(model.events.at(2).when.value().state, 2);
  EXPECT_EQ(model.events.at(3).when.value().kind, Kind::kAbove);
  EXPECT_EQ(model.events.at(3).when.value().state, 3);
}

TEST_F(DeviceModelTest, Text_with_a_NUL_byte_is_named_and_left_out) {
  const host::DeviceModel model =
      Parse(R"({"Label": "a\u0000b", "Points": [{"Id": 5, "Value": "\u0000"}]})");
  EXPECT_EQ(model.label, "");
  EXPECT_EQ(model.points.at(0).value, "");
  EXPECT_THAT(m_problems, ElementsAre("\"Label\" holds a NUL byte",
                                      "\"Value\" of \"Points\"[0] holds a NUL byte"));
}

TEST_F(DeviceModelTest, Report_defaults_to_the_points_number) {
  EXPECT_EQ(Parse(R"({"Points": [{"Id": 9}]})").points.at(0).report, 9u);
}

TEST_F(DeviceModelTest, Wrong_types_at_the_top_are_named_and_take_their_defaults) {
  const host::DeviceModel model = Parse(R"({"VelocityId": "0", "ProductSequenceId": 1, "Label": 5,
                                            "PollSeconds": 0, "Points": {}, "Events": "x"})");
  EXPECT_THAT(m_problems, testing::UnorderedElementsAre(
                              "\"VelocityId\" is not an integer from -2147483648 to 2147483647",
                              "\"ProductSequenceId\" is not a text", "\"Label\" is not a text",
                              "\"PollSeconds\" is not an integer from 1 to 86400",
                              "\"Points\" is not an array", "\"Events\" is not an array"));
  EXPECT_EQ(model.velId, 0);
  EXPECT_EQ(model.pollSeconds, 1);
}

TEST_F(DeviceModelTest, Negative_device_number_is_no_device) {
  EXPECT_EQ(Parse(R"({"VelocityId": -1})").velId, -1);
  EXPECT_THAT(m_problems, IsEmpty());
}

TEST_F(DeviceModelTest, Sequence_id_is_numbers_joined_by_full_stops) {
  for (const char* psi : {"1", "1.2", "10.20.30"}) {
    EXPECT_EQ(Parse("{\"ProductSequenceId\": \"" + std::string(psi) + "\"}").psi, psi);
    EXPECT_THAT(m_problems, IsEmpty());
  }
  EXPECT_EQ(Parse(R"({"ProductSequenceId": ""})").psi, "");
  for (const char* psi : {"..", "1..2", ".1", "1.", "a", "1/2", "../../etc"}) {
    EXPECT_FALSE(Parse("{\"ProductSequenceId\": \"" + std::string(psi) + "\"}").psi) << psi;
    EXPECT_THAT(m_problems,
                ElementsAre("\"ProductSequenceId\" does not consist of numbers joined by full "
                            "stops"));
  }
}

TEST_F(DeviceModelTest, Sequence_id_with_a_NUL_byte_counts_as_absent) {
  EXPECT_FALSE(Parse(R"({"ProductSequenceId": "1.2\u0000"})").psi);
  EXPECT_THAT(m_problems, ElementsAre("\"ProductSequenceId\" holds a NUL byte"));
}

TEST_F(DeviceModelTest, Points_without_a_number_of_their_own_are_left_out) {
  const host::DeviceModel model = Parse(R"({"Points": [
      {}, {"Id": 0}, {"Id": "5"}, {"Id": 65536}, 7, {"Id": 5}, {"Id": 5, "Name": "second"},
      {"Id": 4329}]})");
  ASSERT_EQ(model.points.size(), 1u);
  EXPECT_EQ(model.points[0].name, "");
  EXPECT_THAT(m_problems, testing::UnorderedElementsAre(
                              "\"Id\" of \"Points\"[0] is missing",
                              "\"Id\" of \"Points\"[1] is not an integer from 1 to 65535",
                              "\"Id\" of \"Points\"[2] is not an integer from 1 to 65535",
                              "\"Id\" of \"Points\"[3] is not an integer from 1 to 65535",
                              "\"Points\" [4] is not an object", "point 5 is there already",
                              "\"Id\" of \"Points\"[7] is the number of the device's label"));
}

TEST_F(DeviceModelTest, Wrong_keys_of_a_point_are_named_and_take_their_defaults) {
  const host::DeviceModel model = Parse(R"({"Points": [{"Id": 5, "Name": 1, "Value": 21,
      "Unit": null, "Decimals": 10, "Modules": 0, "Report": -1, "Source": "x"}]})");
  ASSERT_EQ(model.points.size(), 1u);
  EXPECT_EQ(model.points[0].value, "");
  EXPECT_EQ(model.points[0].decimals, 0);
  EXPECT_EQ(model.points[0].modules, 1u);
  EXPECT_EQ(model.points[0].report, 5u);
  EXPECT_FALSE(model.points[0].source.has_value());
  EXPECT_THAT(m_problems, testing::UnorderedElementsAre(
                              "\"Name\" of \"Points\"[0] is not a text",
                              "\"Value\" of \"Points\"[0] is not a text",
                              "\"Unit\" of \"Points\"[0] is not a text",
                              "\"Decimals\" of \"Points\"[0] is not an integer from 0 to 9",
                              "\"Modules\" of \"Points\"[0] is not an integer from 1 to 1024",
                              "\"Report\" of \"Points\"[0] is not an integer from 0 to 4294967295",
                              "\"Source\" of \"Points\"[0] is not an object"));
}

TEST_F(DeviceModelTest, Value_that_no_notification_holds_is_refused) {
  Parse("{\"Points\": [{\"Id\": 5, \"Value\": \"" + std::string(254, 'x') + "\"}]}");
  EXPECT_THAT(m_problems, ElementsAre("\"Value\" of \"Points\"[0] is longer than 253 bytes"));
}

TEST_F(DeviceModelTest, Wrong_sources_are_named_and_left_out) {
  const host::DeviceModel model = Parse(R"({"Points": [
      {"Id": 1, "Source": {"Type": "../x"}}, {"Id": 2, "Source": {"Type": "file"}},
      {"Id": 3, "Source": {"Type": "file", "Path": "relative"}},
      {"Id": 4, "Source": {"Type": "file", "Path": "/x", "Scale": "2"}}]})");
  EXPECT_FALSE(model.points.at(0).source.has_value());
  EXPECT_FALSE(model.points.at(1).source.has_value());
  EXPECT_FALSE(model.points.at(2).source.has_value());
  ASSERT_TRUE(model.points.at(3).source.has_value());
  EXPECT_FALSE(model.points.at(3).scale.has_value());
  EXPECT_THAT(m_problems,
              ElementsAre("\"Type\" in \"Source\" of \"Points\"[0] names no kind of source",
                          "\"Path\" in \"Source\" of \"Points\"[1] is not an absolute path",
                          "\"Path\" in \"Source\" of \"Points\"[2] is not an absolute path",
                          "\"Scale\" in \"Source\" of \"Points\"[3] is not a number"));
}

TEST_F(DeviceModelTest, Sources_of_modules_are_taken_as_they_are_said) {
  const host::DeviceModel model = Parse(R"({
    "Sources": {"pdu": {"Type": "snmp", "Address": "pdu.example", "PollSeconds": 10}},
    "Points": [{"Id": 1, "Scale": 0.1, "States": {"1": "On", "idle": "Off"},
                "Source": {"From": "pdu", "Oid": "1.3.6"}},
               {"Id": 2, "Source": {"Type": "hwmon", "Label": "CPU"}}],
    "Events": [{"GddId": 9, "Source": {"From": "pdu", "Raise": "1.3"}}]})");
  EXPECT_THAT(m_problems, IsEmpty());
  ASSERT_EQ(model.sources.size(), 1u);
  EXPECT_EQ(model.sources[0].name, "pdu");
  EXPECT_EQ(model.sources[0].module.type, "snmp");
  EXPECT_EQ(model.sources[0].module.settings,
            R"({"Address":"pdu.example","PollSeconds":10,"Type":"snmp"})");
  EXPECT_EQ(model.sources[0].module.where, " in \"pdu\" of \"Sources\"");
  const host::PointModel& first = model.points.at(0);
  EXPECT_EQ(first.scale, 0.1);
  ASSERT_EQ(first.states.size(), 2u);
  EXPECT_EQ(first.states[0].number, 1);
  EXPECT_EQ(first.states[0].text, "On");
  EXPECT_FALSE(first.states[1].number.has_value());
  ASSERT_TRUE(first.source.has_value());
  EXPECT_EQ(first.source->path, "");
  EXPECT_EQ(first.source->module.from, "pdu");
  EXPECT_EQ(model.points.at(1).source->module.type, "hwmon");
  ASSERT_TRUE(model.events.at(0).source.has_value());
  EXPECT_EQ(model.events[0].source->from, "pdu");
}

TEST_F(DeviceModelTest, Sources_that_say_no_kind_are_named_and_left_out) {
  const host::DeviceModel model = Parse(R"({
    "Sources": {"a": {}, "b": {"Type": "file"}, "c": {"From": "a"}, "d": 5, "e": {"Type": "snmp"}},
    "Points": [{"Id": 1, "Source": {"From": "a"}}, {"Id": 2, "Source": {"From": "e", "Type": "x"}},
               {"Id": 3, "States": {"1": 2}, "Source": {"Type": "aaaaaaaaaaaaaaaaa"}}]})");
  ASSERT_EQ(model.sources.size(), 1u);
  EXPECT_EQ(model.sources[0].name, "e");
  for (const host::PointModel& point : model.points) EXPECT_FALSE(point.source.has_value());
  EXPECT_THAT(m_problems,
              ElementsAre("\"Type\" in \"a\" of \"Sources\" names no kind of source",
                          "\"Type\" in \"b\" of \"Sources\" is a point's own",
                          "\"From\" in \"c\" of \"Sources\" is for points and events",
                          "\"Sources\" .d is not an object",
                          "\"From\" in \"Source\" of \"Points\"[0] names none of \"Sources\"",
                          "\"From\" in \"Source\" of \"Points\"[1] stands beside a \"Type\"",
                          "\"States\" of \"Points\"[2] has a \"1\" that is not a text",
                          "\"Type\" in \"Source\" of \"Points\"[2] names no kind of source"));
}

TEST_F(DeviceModelTest, Wrong_events_are_named_and_take_their_defaults) {
  const host::DeviceModel model = Parse(R"({"Events": [
      {"GddId": 1, "Text": 5, "Modules": 2000, "State": "alarm"}, {}, {"GddId": 1}]})");
  ASSERT_EQ(model.events.size(), 1u);
  EXPECT_EQ(model.events[0].text, "");
  EXPECT_EQ(model.events[0].modules, 1u);
  EXPECT_EQ(model.events[0].state, 0);
  EXPECT_THAT(
      m_problems,
      ElementsAre("\"Text\" of \"Events\"[0] is not a text",
                  "\"Modules\" of \"Events\"[0] is not an integer from 1 to 1024",
                  "\"State\" of \"Events\"[0] is none of Cleared, Message, Warning, Alarm, Fault",
                  "\"GddId\" of \"Events\"[1] is missing", "event 1 is there already"));
}

TEST_F(DeviceModelTest, Wrong_rules_are_named_and_left_out) {
  const host::DeviceModel model = Parse(R"({"Points": [{"Id": 5}], "Events": [
      {"GddId": 1, "When": 5},
      {"GddId": 2, "When": {"Above": 1}},
      {"GddId": 3, "When": {"Point": 5}},
      {"GddId": 4, "When": {"Point": 5, "Above": 1, "Below": 2}},
      {"GddId": 6, "When": {"Point": 5, "Above": "1"}},
      {"GddId": 7, "When": {"Point": 5, "Equals": true}},
      {"GddId": 8, "When": {"Point": 5, "NotEquals": null}},
      {"GddId": 9, "When": {"Point": 5, "Missing": false}},
      {"GddId": 10, "When": {"Point": 5, "Missing": true, "Equals": "x"}}]})");
  for (const host::EventModel& event : model.events) EXPECT_FALSE(event.when) << event.gddId;
  const std::string none =
      " does not hold one of \"Above\", \"Below\", \"Equals\", \"NotEquals\" and \"Missing\"";
  EXPECT_THAT(
      m_problems,
      ElementsAre("\"When\" of \"Events\"[0] is not an object",
                  "\"Point\" in \"When\" of \"Events\"[1] is missing",
                  "\"When\" of \"Events\"[2]" + none, "\"When\" of \"Events\"[3]" + none,
                  "\"Above\" in \"When\" of \"Events\"[4] is not a number",
                  "\"Equals\" in \"When\" of \"Events\"[5] is neither a text nor a number",
                  "\"NotEquals\" in \"When\" of \"Events\"[6] is neither a text nor a number",
                  "\"Missing\" in \"When\" of \"Events\"[7] is not true",
                  "\"When\" of \"Events\"[8]" + none));
}

TEST_F(DeviceModelTest, Wrong_keys_of_a_rule_are_named_and_take_their_defaults) {
  const host::DeviceModel model = Parse(R"({"Points": [{"Id": 5}], "Events": [
      {"GddId": 1, "When": {"Point": 5, "Above": 1, "State": "Cleared"}},
      {"GddId": 2, "When": {"Point": 5, "Above": 1, "State": 3}},
      {"GddId": 3, "When": {"Point": 5, "Missing": true, "Hysteresis": 2}}]})");
  for (const host::EventModel& event : model.events) EXPECT_EQ(event.when.value().state, 3);
  const std::string wrong = " is none of Message, Warning, Alarm, Fault";
  EXPECT_THAT(m_problems, ElementsAre("\"State\" in \"When\" of \"Events\"[0]" + wrong,
                                      "\"State\" in \"When\" of \"Events\"[1]" + wrong,
                                      "\"Hysteresis\" in \"When\" of \"Events\"[2] goes with "
                                      "\"Above\" and \"Below\" alone"));
}

TEST_F(DeviceModelTest, Rule_with_a_negative_hysteresis_or_an_unknown_point_is_named) {
  const host::DeviceModel model = Parse(R"({"Points": [{"Id": 5}], "Events": [
      {"GddId": 1, "When": {"Point": 5, "Above": 1, "Hysteresis": -1}},
      {"GddId": 2, "When": {"Point": 6, "Above": 1}}]})");
  EXPECT_EQ(model.events.at(0).when->hysteresis, 0);
  EXPECT_THAT(m_problems, ElementsAre("\"Hysteresis\" in \"When\" of \"Events\"[0] is negative",
                                      "\"Point\" in \"When\" of event 2 names no point"));
}

TEST_F(DeviceModelTest, Missing_file_is_a_device_without_points) {
  const host::DeviceModel model = host::LoadDeviceModel(In("/device.json"));
  EXPECT_EQ(model.velId, 0);
  EXPECT_THAT(model.points, IsEmpty());
  EXPECT_EQ(
      LogCount("4 Host " + In("/device.json") + " is missing: a device without points and events"),
      1);
}

TEST_F(DeviceModelTest, Unparsable_file_costs_one_message) {
  Write("/device.json", "{\"VelocityId\": 3,\n]");
  const host::DeviceModel model = host::LoadDeviceModel(In("/device.json"));
  EXPECT_EQ(model.velId, 0);
  EXPECT_THAT(model.points, IsEmpty());
  EXPECT_EQ(LogCount("3 Host " + In("/device.json") + " is not valid JSON: line 2, column 1; "), 1);
  EXPECT_EQ(LogCount("a device without points and events"), 1);
}

TEST_F(DeviceModelTest, Unreadable_file_costs_one_message) {
  MakeUnreadable("/device.json");
  host::LoadDeviceModel(In("/device.json"));
  EXPECT_EQ(LogCount("cannot be read: Too many levels of symbolic links; a device without"), 1);
}

TEST_F(DeviceModelTest, Each_wrong_key_of_a_file_costs_one_message) {
  Write("/device.json", R"({"Label": 5, "PollSeconds": "x"})");
  host::LoadDeviceModel(In("/device.json"));
  EXPECT_EQ(LogCount("\"Label\" is not a text; it counts as absent"), 1);
  EXPECT_EQ(LogCount("; it counts as absent"), 2);
}
