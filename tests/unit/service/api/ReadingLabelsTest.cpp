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
}

}  // namespace
}  // namespace cloudservice
