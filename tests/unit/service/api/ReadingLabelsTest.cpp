// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "service/api/ReadingLabels.h"

namespace cloudservice {
namespace {

std::string Described(const char* document, const char* pointer) {
  const ReadingLabel label = LabelOf(Json::parse(document), pointer);
  return label.name + "|" + label.unit.value_or("-") + "|" + label.quantity.value_or("-") + "|" +
         label.extreme.value_or("-");
}

TEST(ReadingLabelsTest, Numbers_are_named_by_what_stands_around_them) {
  const char* const thermal =
      R"({"Name": "Thermal", "HumidityPercent": 4, "FanSpeedRPM": 1, "a/b": [[1, 2], [3]],
          "Temperatures": [{"Name": "Supply", "ReadingCelsius": 1, "UpperThresholdCritical": 2},
                           {"MemberId": "inlet humidity", "Reading": 3, "ReadingUnits": "%RH"},
                           {"Reading": 4, "ReadingUnits": "Widgets"}, {"ReadingCelsius": 5}],
          "SevenDays": {"LowestHumidity": 1, "HighestTemperature": 2, "HighestPressure": 3}})";
  EXPECT_EQ(Described(thermal, "/HumidityPercent"), "Humidity|%|humidity|-");
  EXPECT_EQ(Described(thermal, "/FanSpeedRPM"), "Fan speed|rpm|-|-");
  EXPECT_EQ(Described(thermal, "/a~1b/0/1"), "a/b 0 1|-|-|-");
  EXPECT_EQ(Described(thermal, "/Temperatures/0/ReadingCelsius"), "Supply|°C|temperature|-");
  EXPECT_EQ(Described(thermal, "/Temperatures/0/UpperThresholdCritical"),
            "Supply: Upper threshold critical|-|-|-");
  EXPECT_EQ(Described(thermal, "/Temperatures/1/Reading"), "inlet humidity|%|humidity|-");
  EXPECT_EQ(Described(thermal, "/Temperatures/2/Reading"), "Reading|Widgets|-|-");
  EXPECT_EQ(Described(thermal, "/Temperatures/3/ReadingCelsius"), "Reading|°C|temperature|-");
  EXPECT_EQ(Described(thermal, "/SevenDays/LowestHumidity"), "Lowest humidity|%|humidity|lowest");
  EXPECT_EQ(Described(thermal, "/SevenDays/HighestTemperature"),
            "Highest temperature|°C|temperature|highest");
  EXPECT_EQ(Described(thermal, "/SevenDays/HighestPressure"), "Highest pressure|-|-|-");
  EXPECT_EQ(Described(R"({"": 1})", "/"), "|-|-|-");
}

TEST(ReadingLabelsTest, Document_of_a_sensor_is_named_by_itself) {
  const char* const inlet =
      R"({"Name": "Inlet", "Reading": 21.5, "ReadingUnits": "Cel", "ReadingRangeMax": 60,
          "Thresholds": {"UpperCaution": {"Reading": 30}}})";
  EXPECT_EQ(Described(inlet, "/Reading"), "Inlet|°C|temperature|-");
  EXPECT_EQ(Described(inlet, "/ReadingRangeMax"), "Inlet: Reading range max|-|-|-");
  EXPECT_EQ(Described(inlet, "/Thresholds/UpperCaution/Reading"), "Reading|-|-|-");
  EXPECT_EQ(Described(R"({"Name": "Rack", "Reading": 40, "ReadingUnits": "%",
                          "ReadingType": "Humidity"})",
                      "/Reading"),
            "Rack|%|humidity|-");
  EXPECT_EQ(Described(R"({"Reading": 1})", "/Reading"), "Reading|-|-|-");
}

TEST(ReadingLabelsTest, Reading_of_an_excerpt_is_named_by_the_member_around_it) {
  const char* const metrics =
      R"({"Name": "Environment metrics", "TemperatureCelsius": {"Reading": 21},
          "HumidityPercent": {"DataSourceUri": "/x", "Reading": 40},
          "PowerWatts": {"Reading": 90, "ApparentVA": 95},
          "FanSpeedsPercent": [{"DeviceName": "Fan 1", "Reading": 50, "SpeedRPM": 900},
                               {"Reading": 60}],
          "Other": {"Reading": 1}, "VolumeLiters": {"Reading": 1, "ReadingUnits": "gal"}})";
  EXPECT_EQ(Described(metrics, "/TemperatureCelsius/Reading"), "Temperature|°C|temperature|-");
  EXPECT_EQ(Described(metrics, "/HumidityPercent/Reading"), "Humidity|%|humidity|-");
  EXPECT_EQ(Described(metrics, "/PowerWatts/Reading"), "Power|W|-|-");
  EXPECT_EQ(Described(metrics, "/FanSpeedsPercent/0/Reading"), "Fan 1|%|-|-");
  EXPECT_EQ(Described(metrics, "/FanSpeedsPercent/0/SpeedRPM"), "Fan 1: Speed|rpm|-|-");
  EXPECT_EQ(Described(metrics, "/FanSpeedsPercent/1/Reading"), "Fan speeds 1|%|-|-");
  EXPECT_EQ(Described(metrics, "/Other/Reading"), "Reading|-|-|-");
  EXPECT_EQ(Described(metrics, "/VolumeLiters/Reading"), "Reading|gal|-|-");
}

std::string DescribedByName(const std::string& name) {
  const ReadingLabel label = LabelOf(StepsOf(name));
  return label.name + "|" + label.unit.value_or("-") + "|" + label.quantity.value_or("-") + "|" +
         label.extreme.value_or("-");
}

TEST(ReadingLabelsTest, What_is_gone_is_named_as_far_as_its_name_tells) {
  EXPECT_EQ(DescribedByName("T[MemberId=Supply]/ReadingCelsius"), "Supply|°C|temperature|-");
  EXPECT_EQ(DescribedByName("T[MemberId=a~1b]/UpperLimit"), "a/b: Upper limit|-|-|-");
  EXPECT_EQ(DescribedByName("T[@odata.id=~1x]/ReadingCelsius"), "Reading|°C|temperature|-");
  EXPECT_EQ(DescribedByName("T[3]/Reading"), "Reading|-|-|-");
  EXPECT_EQ(DescribedByName("Limits[3][0]"), "Limits 3 0|-|-|-");
  EXPECT_EQ(DescribedByName("Oem/Quorvan/HumidityPercent"), "Humidity|%|humidity|-");
  EXPECT_EQ(DescribedByName("SevenDays/LowestHumidity"), "Lowest humidity|%|humidity|lowest");
  EXPECT_EQ(DescribedByName("[0]"), " 0|-|-|-");
  EXPECT_EQ(DescribedByName("TemperatureCelsius/Reading"), "Temperature|°C|temperature|-");
  EXPECT_EQ(DescribedByName("FanSpeedsPercent[1]/Reading"), "Fan speeds 1|%|-|-");
}

}  // namespace
}  // namespace cloudservice
