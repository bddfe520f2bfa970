// SPDX-License-Identifier: Apache-2.0
// Seven-day accumulators: readings and extremes.
#include "PatchTest.h"
#include "zones/Zones.h"

namespace patch_test {
namespace {

using cloudclient::DayAccumulator;
using cloudclient::PointPatchEntry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using zones::kDay;

class AccumulatorTest : public PatchTest {
 protected:
  static PointPatchEntry Temperature() {
    PointPatchEntry entry;
    entry.pld = "v";
    entry.tempAccum = true;
    return entry;
  }

  static PointPatchEntry Humidity() {
    PointPatchEntry entry;
    entry.pld = "v";
    entry.humAccum = true;
    return entry;
  }

  // A reading of today, with the text that the device shows for it.
  void Reads(uint16_t value, const std::string& text, const PointPatchEntry& entry) {
    HasDocument("v", text);
    patch.AccumulatorUpdate(patch.GetDayKey(), value, entry, 1);
  }

  const DayAccumulator& Today() { return patch.GetAccumulators().at(patch.GetDayKey()); }

  // The four extremes: highest and lowest temperature, highest and lowest humidity.
  std::string Extremes() {
    std::string document = "7dayhightemp 7daylowtemp 7dayhighhum 7daylowhum";
    patch.FillSevenDayValues(document);
    return document;
  }
};

TEST_F(AccumulatorTest, A_fresh_day_has_starting_values) {
  patch.NewDayAccumulators();
  ASSERT_THAT(patch.GetAccumulators(), SizeIs(1));
  EXPECT_EQ(Today().lowTemp, 500);
  EXPECT_EQ(Today().lowTempText, "500");
  EXPECT_EQ(Today().highTemp, 0);
  EXPECT_EQ(Today().highTempText, "0");
  EXPECT_EQ(Today().lowHum, 1100);
  EXPECT_EQ(Today().lowHumText, "1100");
  EXPECT_EQ(Today().highHum, 0);
  EXPECT_EQ(Today().highHumText, "0");
  EXPECT_EQ(Extremes(), "0 500 0 1100");
}

TEST_F(AccumulatorTest, The_first_reading_is_low_and_high) {
  patch.NewDayAccumulators();
  Reads(215, "21", Temperature());
  EXPECT_EQ(Today(), (DayAccumulator{215, 215, "21", "21", 1100, 0, "1100", "0"}));
  Reads(450, "45", Humidity());
  EXPECT_EQ(Today(), (DayAccumulator{215, 215, "21", "21", 450, 450, "45", "45"}));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(AccumulatorTest, Takes_lower_and_higher_readings) {
  patch.NewDayAccumulators();
  for (const auto& entry : {Temperature(), Humidity()}) {
    Reads(200, "20", entry);
    Reads(190, "19", entry);
    Reads(195, "195", entry);
    Reads(210, "21", entry);
    Reads(205, "205", entry);
  }
  EXPECT_EQ(Today(), (DayAccumulator{190, 210, "19", "21", 190, 210, "19", "21"}));
}

TEST_F(AccumulatorTest, Keeps_the_first_text_of_an_equal_reading) {
  patch.NewDayAccumulators();
  Reads(200, "20", Temperature());
  Reads(200, "99", Temperature());
  Reads(200, "20", Humidity());
  Reads(200, "99", Humidity());
  EXPECT_EQ(Today(), (DayAccumulator{200, 200, "20", "20", 200, 200, "20", "20"}));
}

TEST_F(AccumulatorTest, A_reading_of_0_on_a_fresh_day_leaves_the_high) {
  patch.NewDayAccumulators();
  Reads(0, "7", Temperature());
  Reads(0, "8", Humidity());
  EXPECT_EQ(Today(), (DayAccumulator{0, 0, "7", "0", 0, 0, "8", "0"}));
}

TEST_F(AccumulatorTest, A_reading_not_below_the_starting_value_leaves_the_low) {
  patch.NewDayAccumulators();
  Reads(500, "50", Temperature());
  Reads(1100, "110", Humidity());
  EXPECT_EQ(Today(), (DayAccumulator{500, 500, "500", "50", 1100, 1100, "1100", "110"}));
}

TEST_F(AccumulatorTest, Compares_readings_without_a_sign) {
  patch.NewDayAccumulators();
  Reads(0xFFFF, "-1", Temperature());
  EXPECT_EQ(Today().lowTemp, 500);
  EXPECT_EQ(Today().highTemp, 0xFFFF);
  EXPECT_EQ(Today().highTempText, "-1");
}

TEST_F(AccumulatorTest, A_point_of_both_kinds_feeds_both) {
  patch.NewDayAccumulators();
  PointPatchEntry both = Temperature();
  both.humAccum = true;
  Reads(300, "30", both);
  EXPECT_EQ(Today(), (DayAccumulator{300, 300, "30", "30", 300, 300, "30", "30"}));
  EXPECT_THAT(platform().pages.asked, SizeIs(1));
}

TEST_F(AccumulatorTest, A_point_of_no_kind_feeds_none) {
  patch.NewDayAccumulators();
  PointPatchEntry none;
  none.pld = "v";
  Reads(300, "30", none);
  EXPECT_EQ(Today(), DayAccumulator());
}

TEST_F(AccumulatorTest, Takes_the_text_just_read_and_the_number_that_was_notified) {
  patch.NewDayAccumulators();
  platform().proxy.points[7] = "-32768";
  PointPatchEntry entry = Temperature();
  entry.pldQueryArgs = "7,1,0,0,0";
  entry.queryArgs[0] = 7;
  entry.queryArgs[1] = 1;
  patch.AccumulatorUpdate(patch.GetDayKey(), 215, entry, 0x00050011);
  EXPECT_EQ(Today(), (DayAccumulator{215, 215, "-32768", "-32768", 1100, 0, "1100", "0"}));
  ASSERT_THAT(platform().proxy.pointsAsked, SizeIs(1));
  EXPECT_EQ(platform().proxy.pointsAsked[0].device, 0x11);
}

TEST_F(AccumulatorTest, A_day_without_a_record_loses_the_reading) {
  patch.NewDayAccumulators();
  HasDocument("v", "21");
  patch.AccumulatorUpdate(patch.GetDayKey() + kDay, 215, Temperature(), 1);
  EXPECT_EQ(Today(), DayAccumulator());
  EXPECT_THAT(patch.GetAccumulators(), SizeIs(1));
  EXPECT_THAT(platform().pages.asked, IsEmpty());
  EXPECT_THAT(Lines(), ElementsAre("3 AccumulatorUpdate: Missing accumulator entry"));
}

TEST_F(AccumulatorTest, An_empty_text_loses_the_reading) {
  patch.NewDayAccumulators();
  Reads(215, "", Temperature());
  EXPECT_EQ(Today(), DayAccumulator());
  EXPECT_THAT(Lines(),
              ElementsAre("3 AccumulatorUpdate:  Unable to get value for accumulator point."));
}

TEST_F(AccumulatorTest, A_text_that_is_no_number_of_16_bits_loses_the_reading) {
  patch.NewDayAccumulators();
  const char* const texts[] = {"abc", "21.5", "32768", " 21", "21\r\n"};
  for (const char* const text : texts) {
    platform().log.records.clear();
    Reads(215, text, Temperature());
    EXPECT_THAT(Lines(), ElementsAre("3 AccumulatorUpdate:  Invalid value string '" +
                                     std::string(text) + "' for accumulator point."));
  }
  EXPECT_EQ(Today(), DayAccumulator());
}

TEST_F(AccumulatorTest, A_document_that_can_not_be_had_reads_as_0) {
  patch.NewDayAccumulators();
  patch.AccumulatorUpdate(patch.GetDayKey(), 215, Temperature(), 1);
  EXPECT_EQ(Today(), (DayAccumulator{215, 215, "0", "0", 1100, 0, "1100", "0"}));
  EXPECT_THAT(Lines(), ElementsAre("3 GetPointValuePld: Failed to get pld(v)"));
}

// Extremes over the kept days.

TEST_F(AccumulatorTest, Extremes_are_those_of_all_days) {
  for (int day = 0; day < 3; ++day) {
    patch.NewDayAccumulators();
    const int low[] = {20, 18, 19};
    const int high[] = {25, 24, 29};
    Reads(static_cast<uint16_t>(low[day] * 10), std::to_string(low[day]), Temperature());
    Reads(static_cast<uint16_t>(high[day] * 10), std::to_string(high[day]), Temperature());
    Reads(static_cast<uint16_t>(low[day] * 20), std::to_string(low[day] * 2), Humidity());
    Reads(static_cast<uint16_t>(high[day] * 20), std::to_string(high[day] * 2), Humidity());
    platform().clock.now += kDay;
  }
  EXPECT_EQ(Extremes(), "29 18 58 36");
}

TEST_F(AccumulatorTest, The_later_day_wins_a_tie) {
  for (const char* const text : {"1", "2"}) {
    patch.NewDayAccumulators();
    Reads(200, text, Temperature());
    Reads(200, text, Humidity());
    platform().clock.now += kDay;
  }
  EXPECT_EQ(Extremes(), "2 2 2 2");
}

TEST_F(AccumulatorTest, A_day_without_readings_reports_its_starting_values) {
  patch.NewDayAccumulators();
  Reads(200, "20", Temperature());
  platform().clock.now += kDay;
  patch.NewDayAccumulators();
  EXPECT_EQ(Extremes(), "20 20 0 1100");
}

TEST_F(AccumulatorTest, A_low_above_the_starting_value_is_no_extreme) {
  // Only seeding puts such a low into a record.
  Loaded(Map(kThermal, Point("1", R"("pld": "v", "7dayTempAccum": true)") + "," +
                           Point("2", R"("pld": "v", "7dayHumAccum": true)")));
  HasDocument("v", "1101");
  patch.NewDaySyncAccumulators(1, &client, &platform().proxy);
  EXPECT_EQ(Today().lowTemp, 1101);
  EXPECT_EQ(Extremes(), "1101 null 1101 null");
}

TEST_F(AccumulatorTest, The_starting_values_themselves_are_extremes) {
  Loaded(Map(kThermal, Point("1", R"("pld": "t", "7dayTempAccum": true)") + "," +
                           Point("2", R"("pld": "h", "7dayHumAccum": true)")));
  HasDocument("t", "+500");
  HasDocument("h", "+1100");
  patch.NewDaySyncAccumulators(1, &client, &platform().proxy);
  EXPECT_EQ(Extremes(), "+500 +500 +1100 +1100");
}

TEST_F(AccumulatorTest, Days_and_old_values_take_no_lock) {
  const auto before = platform().mutexes.locks;
  patch.NewDayAccumulators();
  Reads(210, "21", Temperature());
  EXPECT_EQ(Today().highTempText, "21");
  std::string document = "7dayhightemp";
  patch.FillSevenDayValues(document);
  EXPECT_EQ(document, "21");
  PointPatchEntry entry;
  entry.numArgs = 1;
  entry.arg1Type = "old";
  std::string arg1;
  std::string arg2;
  patch.BuildEventMessage(1, 1201, entry, arg1, arg2);
  EXPECT_EQ(platform().mutexes.locks, before);
}

}  // namespace
}  // namespace patch_test
