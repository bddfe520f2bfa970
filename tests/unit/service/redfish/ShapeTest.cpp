// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PayloadCheck.h"
#include "service/redfish/Shape.h"

namespace cloudservice {
namespace {

using testing::IsEmpty;

class ShapeTest : public testing::Test {
 protected:
  // The view of what was sent for `type` at /redfish/v1/a, which has to be valid.
  Json Of(const char* type, const std::string& sent) {
    Json view = Shaped(TypeNamed(type), "/redfish/v1/a", Json::parse(sent), resolve);
    EXPECT_THAT(FaultsOf(view), IsEmpty()) << view.dump(1);
    return view;
  }
  static Json Rest(const Json& view) { return view.at("Oem").at("Quorvan"); }

  // Nothing but one chassis, one of its documents, and a part of that are there.
  const Resolver resolve = [](const std::string& path) -> std::string {
    if (path == "/redfish/v1/Chassis/1") return "Chassis";
    if (path == "/redfish/v1/Chassis/1/Thermal") return "Thermal";
    if (path == "/redfish/v1/Chassis") return "ChassisCollection";
    if (path == "/redfish/v1/Chassis#/Members/0") return "ChassisCollection#";
    return path.rfind("/redfish/v1/Chassis/1/Thermal#", 0) == 0 ? "Thermal#" : "";
  };
};

TEST_F(ShapeTest, Empty_document_is_made_whole) {
  EXPECT_EQ(Of(types::kChassis, "{}"), Json({{"@odata.id", "/redfish/v1/a"},
                                             {"@odata.type", "#Chassis.v1_28_0.Chassis"},
                                             {"ChassisType", "Other"},
                                             {"Id", "a"},
                                             {"Name", "a"}}));
}

TEST_F(ShapeTest, Many_elements_end_it_before_it_has_grown_far) {
  const std::string path = "/redfish/v1/" + std::string(4000, 'a');
  const auto make = [&](const Json::array_t& elements) {
    return Shaped(TypeNamed(types::kThermal), path, {{"Fans", elements}}, resolve);
  };
  Json::array_t elements(2000, Json::object());
  EXPECT_EQ(make(elements).at("Fans").size(), 2000u);
  elements.insert(elements.end(), 100, Json::object());
  EXPECT_THROW(make(elements), ViewTooLarge);
  // To what is no list of elements nothing is added.
  elements.emplace_back(1);
  EXPECT_EQ(Rest(make(elements)).at("Fans"), Json(elements));
}

// What appliances may send for any member.
const Json& OddValues() {
  static const Json values = Json::parse(R"(["", "x", 0, -1, 1.5, true, null, [], {}, [null], [1],
      [{}], ["x"], {"@odata.id": 1}, {"@odata.id": "/x"}, {"@odata.id": "/redfish/v1/Chassis/1"},
      [{"@odata.id": "/redfish/v1/Chassis/1"}, {"@odata.id": "/x"}], {"x": {"@odata.id": "/x"}},
      {"Oem": 1}, {"Oem": {"Quorvan": 1}}, {"Oem": {"Acme": {"x": 1}}}, {"@odata.type": "#X.X"}])");
  return values;
}

// Documents with such a value in each place that the type has, however deep.
void Collect(const Type& type, const std::function<Json(Json)>& around, std::vector<Json>& found) {
  for (const Property& property : type.properties) {
    const auto inside = [&](const Json& value) { return around({{property.name, value}}); };
    for (const Json& value : OddValues()) found.push_back(inside(value));
    if (property.kind != Kind::kObject) continue;
    Collect(
        TypeNamed(property.type),
        [&](const Json& value) {
          return inside(property.Is(kArray) ? Json::array({value, value}) : value);
        },
        found);
  }
}

TEST_F(ShapeTest, Every_type_takes_every_kind_of_value_in_every_place) {
  for (const char* type : {types::kManager, types::kChassis, types::kThermal, types::kDocument,
                           types::kEnvironmentMetrics, types::kSensor}) {
    std::vector<Json> documents;
    Collect(
        TypeNamed(type), [](const Json& value) { return value; }, documents);
    for (const Json& document : documents) Of(type, document.dump());
  }
}

TEST_F(ShapeTest, What_has_no_place_moves_below_the_nearest_oem) {
  const Json view = Of(types::kThermal, R"({"Mode": "Cooling",
      "Temperatures": [{"Trend": [1], "Status": {"State": "Odd", "Health": "OK"}}]})");
  EXPECT_EQ(Rest(view).at("Mode"), "Cooling");
  const Json& temperature = view.at("Temperatures").at(0);
  EXPECT_EQ(Rest(temperature).at("Trend"), Json::array({1}));
  EXPECT_EQ(temperature.at("Status").at("Health"), "OK");
  EXPECT_EQ(Rest(temperature.at("Status")).at("State"), "Odd");
}

TEST_F(ShapeTest, Object_without_oem_gives_its_rest_to_what_it_stands_in) {
  const Json view = Of(types::kChassis, R"({"Location": {"Placement": {"Row": "7", "Level": 2}}})");
  EXPECT_EQ(view.at("Location").at("Placement"), Json({{"Row", "7"}}));
  EXPECT_EQ(Rest(view.at("Location")).at("Placement"), Json({{"Level", 2}}));
}

TEST_F(ShapeTest, Array_stays_whole_or_moves_whole) {
  const Json view = Of(types::kThermal, R"({"Fans": [{"Reading": 1}, 2]})");
  EXPECT_FALSE(view.contains("Fans"));
  EXPECT_EQ(Rest(view).at("Fans"), Json::parse(R"([{"Reading": 1}, 2])"));
}

TEST_F(ShapeTest, Elements_have_addresses_inside_their_resource) {
  const Json view = Of(types::kThermal, R"({"Fans": [{"MemberId": "x"}, {"MemberId": 7}]})");
  EXPECT_EQ(view.at("Fans").at(0).at("@odata.id"), "/redfish/v1/a#/Fans/0");
}

TEST_F(ShapeTest, Elements_are_named_by_their_positions) {
  const Json fans = Of(types::kThermal,
                       R"({"Fans": [{"MemberId": "x"}, {"MemberId": 7}, {"MemberId": "2"}, {}]})")
                        .at("Fans");
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(fans.at(i).at("MemberId"), std::to_string(i));
  EXPECT_EQ(Rest(fans.at(0)).at("MemberId"), "x");
  EXPECT_EQ(Rest(fans.at(1)).at("MemberId"), 7);
  EXPECT_FALSE(fans.at(2).contains("Oem"));
  EXPECT_FALSE(fans.at(3).contains("Oem"));
}

TEST_F(ShapeTest, Any_item_may_be_linked_to_where_the_type_names_none) {
  const Json links = Json::array(
      {Reference("/redfish/v1/Chassis/1"), Reference("/redfish/v1/Chassis/1/Thermal#/Fans/0")});
  Json sent = links;
  Json others = Json::array();
  for (const char* other :
       {"/redfish/v1/Chassis", "/redfish/v1/Chassis#/Members/0",
        "/redfish/v1/Chassis/1/Thermal#/Status", "/redfish/v1/Chassis/1/Thermal#/Fans",
        "/redfish/v1/Chassis/1/Thermal#/Fans/x", "/redfish/v1/Chassis/1/Thermal#/Fans/",
        "/redfish/v1/Chassis/1/Thermal#/Name/0", "/redfish/v1/Chassis/1/Thermal#Fans/0/1"}) {
    sent.push_back(Reference(other));
    others.push_back(Reference(other));
  }
  const Json view = Of(types::kSensor, Json{{"RelatedItem", sent}}.dump());
  EXPECT_EQ(view.at("RelatedItem"), links);
  EXPECT_EQ(Rest(view).at("RelatedItem"), others);
}

TEST_F(ShapeTest, Excerpts_alone_say_where_they_are_from) {
  const char* const sent = R"({"DeviceName": "d", "DataSourceUri": "/u"})";
  const Json sensor = Of(types::kSensor, sent);
  EXPECT_EQ(Rest(sensor).at("DeviceName"), "d");
  EXPECT_EQ(Rest(sensor).at("DataSourceUri"), "/u");
  const Json metrics =
      Of(types::kEnvironmentMetrics,
         std::string(R"({"PowerWatts": )") + sent + R"(, "FanSpeedsPercent": [)" + sent + "]}");
  EXPECT_EQ(metrics.at("PowerWatts"), Json({{"DataSourceUri", "/u"}}));
  EXPECT_EQ(Rest(metrics).at("PowerWatts"), Json({{"DeviceName", "d"}}));
  EXPECT_EQ(metrics.at("FanSpeedsPercent").at(0), Json::parse(sent));
}

TEST_F(ShapeTest, Numbers_keep_their_bounds) {
  for (const char* name : {"PowerFactor", "PhaseAngleDegrees"}) {
    const int most = name == std::string("PowerFactor") ? 1 : 90;
    for (const double fits : {-1.0 * most, 0.5, 1.0 * most}) {
      EXPECT_EQ(Of(types::kSensor, Json{{name, fits}}.dump()).at(name), fits);
    }
    for (const double beyond : {-1.001 * most, 1.001 * most, 1e300}) {
      EXPECT_EQ(Rest(Of(types::kSensor, Json{{name, beyond}}.dump())).at(name), beyond);
    }
  }
}

TEST_F(ShapeTest, Durations_are_not_negative) {
  EXPECT_EQ(Of(types::kSensor, R"({"SensingInterval": "PT5S"})").at("SensingInterval"), "PT5S");
  EXPECT_EQ(Rest(Of(types::kSensor, R"({"SensingInterval": "-PT5S"})")).at("SensingInterval"),
            "-PT5S");
}

TEST_F(ShapeTest, Times_get_their_colon_and_impossible_ones_move) {
  EXPECT_EQ(Of(types::kManager, R"({"DateTime": "2016-05-04T13:02:11-0500"})").at("DateTime"),
            "2016-05-04T13:02:11-05:00");
  for (const std::string time : {"", "now", "2016-05-04", "2016-02-30T00:00:00Z",
                                 "2016-05-04T24:00:00Z", "2016-05-04T13:02:11"}) {
    EXPECT_EQ(Rest(Of(types::kManager, Json{{"DateTime", time}}.dump())).at("DateTime"), time);
  }
}

TEST_F(ShapeTest, Whole_numbers_may_be_written_with_a_point) {
  const Json view =
      Of(types::kThermal, R"({"Fans": [{"Reading": 1200.0, "MaxReadingRange": 1.5}]})");
  EXPECT_TRUE(view.at("Fans").at(0).at("Reading").is_number_integer());
  EXPECT_EQ(Rest(view.at("Fans").at(0)).at("MaxReadingRange"), 1.5);
}

TEST_F(ShapeTest, Annotations_that_were_sent_are_not_shown) {
  const Json view = Of(types::kChassis, R"({"A@Site": 1, "@Site": 2, "Name@x": 3,
      "Free": {"B@x": 4, "C": 5}, "Oem": {"Quorvan": {"D@x": {"E": 6}}, "F@x": 7}})");
  EXPECT_EQ(Rest(view).at("Free"), Json({{"C", 5}}));
  EXPECT_EQ(Rest(view).size(), 2u) << "beside its type";
}

TEST_F(ShapeTest, Link_has_to_lead_to_what_its_place_is_for) {
  const Json view = Of(types::kChassis, R"({"Thermal": {"@odata.id": "/redfish/v1/Chassis/1"},
      "Links": {"Contains": [{"@odata.id": "/redfish/v1/Chassis/1"}, {"@odata.id": "/x"}]}})");
  EXPECT_FALSE(view.contains("Thermal"));
  EXPECT_EQ(Rest(view).at("Thermal"), Reference("/redfish/v1/Chassis/1"));
  EXPECT_EQ(view.at("Links").at("Contains"), Json::array({Reference("/redfish/v1/Chassis/1")}));
  EXPECT_EQ(Rest(view.at("Links")).at("Contains"), Json::array({"/x"}));
}

TEST_F(ShapeTest, Nothing_under_oem_leads_nowhere) {
  const Json rest = Rest(Of(types::kDocument, R"({"A": {"@odata.id": "/x"},
      "B": {"@odata.id": "/x", "@odata.type": "#X.X", "c": 1},
      "C": {"@odata.id": "/redfish/v1/Chassis/1/Thermal#/Fans/0"}})"));
  EXPECT_EQ(rest.at("A"), "/x");
  EXPECT_EQ(rest.at("B"), Json({{"c", 1}}));
  EXPECT_EQ(rest.at("C"), Reference("/redfish/v1/Chassis/1/Thermal#/Fans/0"));
}

TEST_F(ShapeTest, What_stands_under_oem_already_stays) {
  const Json rest = Rest(Of(types::kDocument, R"({"Mode": 1, "Oem": {"Acme": {"x": 1}, "Quorvan":
      {"Mode": "Cooling", "@odata.type": "#Mine.Mine"}}})"));
  EXPECT_EQ(rest.at("Mode"), "Cooling");
  EXPECT_EQ(rest.at("Acme"), Json({{"x", 1}}));
  EXPECT_EQ(rest.at("@odata.type"), "#QuorvanOem.v1_0_0.QuorvanOem");
}

TEST_F(ShapeTest, Names_of_the_services_under_oem_are_not_the_appliances) {
  const Json view =
      Of(types::kDocument, R"({"Heartbeat": 1, "Oem": {"Quorvan": {"History": "x", "Own": 2}}})");
  EXPECT_EQ(Rest(view), Json({{"@odata.type", "#QuorvanOem.v1_0_0.QuorvanOem"}, {"Own", 2}}));
}

TEST(TypesTest, Table_holds_together) {
  for (const Type* type : AllTypes()) {
    for (const Property& property : type->properties) {
      SCOPED_TRACE(std::string(type->name) + " " + property.name);
      EXPECT_EQ(type->Find(property.name), &property) << "is there twice";
      if (property.kind == Kind::kObject) {
        EXPECT_NO_THROW(TypeNamed(property.type));
      }
      if (property.kind == Kind::kEnum) {
        EXPECT_FALSE(EnumerationNamed(property.type).values.empty());
      }
      if (property.kind == Kind::kOem) {
        EXPECT_STREQ(property.name, "Oem");
      }
    }
    const bool resource = type->base == Base::kResource || type->base == Base::kCollection;
    if (!resource) continue;
    for (const char* name : {"Name", "Oem"}) EXPECT_NE(type->Find(name), nullptr) << type->name;
  }
  EXPECT_THROW(TypeNamed("Chassis"), std::out_of_range);
}

TEST(PayloadCheckTest, Finds_what_is_wrong) {
  const Json good = {{"@odata.id", "/redfish/v1/a"},
                     {"@odata.type", "#Thermal.v1_7_3.Thermal"},
                     {"Id", "a"},
                     {"Name", "a"}};
  EXPECT_THAT(FaultsOf(good), IsEmpty());
  for (const char* wrong :
       {R"({"Name": null})", R"({"Id": 7})", R"({"X": 1})", R"({"Fans": {}})", R"({"Fans": [{}]})",
        R"({"Status": {"State": "Odd"}})", R"({"Oem": {"Acme": {}}})",
        R"({"Oem": {"Quorvan": {}}})", R"({"@odata.type": "#Thermal.Thermal"})",
        R"({"X@odata.count": 1})", R"({"@x.y": 1})"}) {
    Json bad = good;
    bad.update(Json::parse(wrong));
    EXPECT_THAT(FaultsOf(bad), testing::Not(IsEmpty())) << wrong;
  }
  Json shortOf = good;
  shortOf.erase("Name");
  EXPECT_THAT(FaultsOf(shortOf), testing::ElementsAre("/Name is missing"));
  EXPECT_THAT(FaultsOf(shortOf, true), IsEmpty());
}

}  // namespace
}  // namespace cloudservice
