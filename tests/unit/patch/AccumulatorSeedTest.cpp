// SPDX-License-Identifier: Apache-2.0
// Seven-day accumulators: seeding from the current readings.
#include "PatchTest.h"
#include "zones/Zones.h"

namespace patch_test {
namespace {

using cloudclient::DayAccumulator;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using zones::kDay;

// Answers the resolution query with any status and factor.
class ResolvingProxy : public fakes::PldProxy {
 public:
  int status = 0;
  int32_t sets = 0;  // 0: leaves the factor
  std::vector<int32_t> factors;
  std::vector<std::pair<uint16_t, uint16_t>> asked;

  int GetResolution(int32_t& factor, uint16_t device, uint16_t point) override {
    factors.push_back(factor);
    asked.emplace_back(device, point);
    if (sets != 0) factor = sets;
    return status;
  }
};

class SeedTest : public PatchTest {
 protected:
  void SetUp() override {
    PatchTest::SetUp();
    HasDocument("t", "21");
    HasDocument("h", "45");
  }

  void HasBothPoints() {
    Loaded(Map(kThermal, Point("1", R"("pld": "t", "7dayTempAccum": true)") + "," +
                             Point("2", R"("pld": "h", "7dayHumAccum": true)")));
  }

  void Temperature() { patch.NewDaySyncTempAccumulator(3, nullptr, &proxy); }
  void Humidity() { patch.NewDaySyncHumAccumulator(3, nullptr, &proxy); }

  const DayAccumulator& Today() { return patch.GetAccumulators().at(patch.GetDayKey()); }

  ResolvingProxy proxy;
};

TEST_F(SeedTest, Makes_todays_record_of_the_temperature) {
  HasBothPoints();
  Temperature();
  ASSERT_THAT(patch.GetAccumulators(), SizeIs(1));
  EXPECT_EQ(Today(), (DayAccumulator{210, 210, "21", "21", 1100, 0, "1100", "0"}));
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
}

TEST_F(SeedTest, Makes_todays_record_of_the_humidity) {
  HasBothPoints();
  Humidity();
  ASSERT_THAT(patch.GetAccumulators(), SizeIs(1));
  EXPECT_EQ(Today(), (DayAccumulator{500, 0, "500", "0", 450, 450, "45", "45"}));
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
}

TEST_F(SeedTest, Of_both_reads_temperature_first) {
  HasBothPoints();
  patch.NewDaySyncAccumulators(3, nullptr, &proxy);
  EXPECT_EQ(Today(), (DayAccumulator{210, 210, "21", "21", 450, 450, "45", "45"}));
  EXPECT_THAT(DocumentsAsked(), ElementsAre("op1=t", "op1=h"));
  EXPECT_EQ(platform().pages.asked[0].velId, 3);
  EXPECT_EQ(platform().pages.asked[1].velId, 3);
}

TEST_F(SeedTest, Replaces_what_today_has_seen) {
  HasBothPoints();
  patch.NewDayAccumulators();
  patch.AccumulatorUpdate(patch.GetDayKey(), 100, patch.GetMap().Points().at(1), 3);
  patch.AccumulatorUpdate(patch.GetDayKey(), 300, patch.GetMap().Points().at(1), 3);
  patch.AccumulatorUpdate(patch.GetDayKey(), 400, patch.GetMap().Points().at(2), 3);
  Temperature();
  EXPECT_EQ(Today(), (DayAccumulator{210, 210, "21", "21", 400, 400, "45", "45"}));
}

TEST_F(SeedTest, Goes_into_the_record_of_its_day) {
  HasBothPoints();
  Temperature();
  platform().clock.now += kDay;
  HasDocument("t", "22");
  Temperature();
  ASSERT_THAT(patch.GetAccumulators(), SizeIs(2));
  EXPECT_EQ(patch.GetAccumulators().begin()->second.highTempText, "21");
  EXPECT_EQ(Today().highTempText, "22");
}

TEST_F(SeedTest, Does_nothing_without_an_accumulator_point) {
  Loaded(Map(kThermal, Point("1", R"("pld": "t")")));
  patch.NewDaySyncAccumulators(3, nullptr, &proxy);
  EXPECT_THAT(patch.GetAccumulators(), IsEmpty());
  EXPECT_THAT(proxy.asked, IsEmpty());
  EXPECT_THAT(platform().pages.asked, IsEmpty());
  EXPECT_THAT(platform().log.Lines(), IsEmpty());
}

TEST_F(SeedTest, Of_one_kind_leaves_the_other) {
  Loaded(Map(kThermal, Point("2", R"("pld": "h", "7dayHumAccum": true)")));
  patch.NewDaySyncAccumulators(3, nullptr, &proxy);
  EXPECT_EQ(Today(), (DayAccumulator{500, 0, "500", "0", 450, 450, "45", "45"}));
  EXPECT_THAT(DocumentsAsked(), ElementsAre("op1=h"));
}

// Which point, and from where.

TEST_F(SeedTest, Takes_the_point_of_the_lowest_number) {
  Loaded(Map(kThermal, Point("9", R"("pld": "x", "7dayTempAccum": true)") + "," +
                           Point("-5", R"("pld": "plain")") + "," +
                           Point("4", R"("pld": "t", "7dayTempAccum": true)")));
  Temperature();
  EXPECT_THAT(DocumentsAsked(), ElementsAre("op1=t"));
  EXPECT_THAT(proxy.asked, ElementsAre(std::make_pair(3, 4)));
}

TEST_F(SeedTest, Looks_for_a_point_until_there_is_one) {
  Temperature();
  Humidity();
  EXPECT_THAT(platform().pages.asked, IsEmpty());
  HasBothPoints();
  Temperature();
  Humidity();
  EXPECT_THAT(DocumentsAsked(), ElementsAre("op1=t", "op1=h"));
}

TEST_F(SeedTest, Keeps_the_point_it_found_for_life) {
  HasBothPoints();
  Temperature();
  Humidity();
  Loaded(Map(kThermal, Point("-1", R"("pld": "lower", "7dayTempAccum": true)") + "," +
                           Point("-2", R"("pld": "lower", "7dayHumAccum": true)")));
  platform().pages.asked.clear();
  proxy.asked.clear();
  Temperature();
  Humidity();
  EXPECT_THAT(DocumentsAsked(), ElementsAre("op1=t", "op1=h"));
  EXPECT_THAT(proxy.asked, ElementsAre(std::make_pair(3, 1), std::make_pair(3, 2)));
}

TEST_F(SeedTest, Reads_the_temperature_by_query_arguments_where_it_has_them) {
  platform().proxy.points[7] = "30";
  Loaded(Map(kThermal, Point("1", R"("pld": "t", "pldQueryArgs": "7,1,0,0,0",
                                     "7dayTempAccum": true)")));
  Temperature();
  EXPECT_EQ(Today().highTempText, "30");
  EXPECT_THAT(DocumentsAsked(), IsEmpty());
  ASSERT_THAT(platform().proxy.pointsAsked, SizeIs(1));
  EXPECT_EQ(platform().proxy.pointsAsked[0].device, 3);
}

TEST_F(SeedTest, Reads_the_humidity_by_document_name_whatever_it_has) {
  platform().proxy.points[7] = "30";
  Loaded(Map(kThermal, Point("1", R"("pld": "h", "pldQueryArgs": "7,1,0,0,0",
                                     "7dayHumAccum": true)")));
  Humidity();
  EXPECT_EQ(Today().highHumText, "45");
  EXPECT_THAT(DocumentsAsked(), ElementsAre("op1=h"));
  EXPECT_THAT(platform().proxy.pointsAsked, IsEmpty());
}

// The scale.

TEST_F(SeedTest, Asks_for_the_resolution_with_a_factor_of_1_and_16_bit_numbers) {
  Loaded(Map(kThermal, Point("66737", R"("pld": "t", "7dayTempAccum": true,
                                         "7dayHumAccum": true)")));
  patch.NewDaySyncTempAccumulator(0x00050011, nullptr, &proxy);
  patch.NewDaySyncHumAccumulator(0x00050011, nullptr, &proxy);
  EXPECT_THAT(proxy.factors, ElementsAre(1, 1));
  EXPECT_THAT(proxy.asked, ElementsAre(std::make_pair(0x11, 1201), std::make_pair(0x11, 1201)));
}

TEST_F(SeedTest, Multiplies_the_changed_factor_by_10_when_the_query_succeeds) {
  proxy.sets = 3;
  HasBothPoints();
  Temperature();
  Humidity();
  EXPECT_EQ(Today(), (DayAccumulator{630, 630, "21", "21", 1350, 1350, "45", "45"}));
}

TEST_F(SeedTest, Takes_the_changed_factor_as_it_is_when_the_query_fails) {
  proxy.sets = 3;
  proxy.status = 1;
  HasBothPoints();
  Temperature();
  Humidity();
  EXPECT_EQ(Today(), (DayAccumulator{63, 63, "21", "21", 135, 135, "45", "45"}));
}

TEST_F(SeedTest, Takes_the_reading_as_it_is_when_the_query_fails) {
  proxy.status = -1;
  HasBothPoints();
  Temperature();
  Humidity();
  EXPECT_EQ(Today(), (DayAccumulator{21, 21, "21", "21", 45, 45, "45", "45"}));
}

TEST_F(SeedTest, Takes_the_reading_as_it_is_without_a_proxy) {
  HasBothPoints();
  patch.NewDaySyncAccumulators(3, nullptr, nullptr);
  EXPECT_EQ(Today(), (DayAccumulator{21, 21, "21", "21", 45, 45, "45", "45"}));
}

TEST_F(SeedTest, Cuts_the_scaled_reading_to_16_bits_unclamped) {
  HasBothPoints();
  HasDocument("t", "-4");
  HasDocument("h", "7000");
  patch.NewDaySyncAccumulators(3, nullptr, &proxy);
  EXPECT_EQ(Today(), (DayAccumulator{65496, 65496, "-4", "-4", 4464, 4464, "7000", "7000"}));
}

TEST_F(SeedTest, Survives_the_largest_factors_and_readings) {
  HasBothPoints();
  proxy.sets = INT32_MAX;  // times 10: 0xFFF6 in the low 16 bits
  HasDocument("t", "2147483647");
  HasDocument("h", "-2147483648");
  patch.NewDaySyncAccumulators(3, nullptr, &proxy);
  EXPECT_EQ(Today(), (DayAccumulator{10, 10, "2147483647", "2147483647", 0, 0, "-2147483648",
                                     "-2147483648"}));
}

// Readings that are no integers.

TEST_F(SeedTest, Leaves_the_day_at_an_invalid_temperature) {
  HasBothPoints();
  HasDocument("t", "21.5");
  Temperature();
  EXPECT_THAT(patch.GetAccumulators(), IsEmpty());
  EXPECT_THAT(Lines(), ElementsAre("4 NewDaySyncTempAccumulator: Received invalid integer value "
                                   "for temperature:  21.5"));
}

TEST_F(SeedTest, Leaves_the_day_at_an_invalid_humidity) {
  HasBothPoints();
  HasDocument("h", "");
  Humidity();
  EXPECT_THAT(patch.GetAccumulators(), IsEmpty());
  EXPECT_THAT(Lines(), ElementsAre("4 NewDaySyncHumAccumulator: Received invalid integer value for "
                                   "humidity:  "));
}

TEST_F(SeedTest, Goes_on_to_the_humidity_after_an_invalid_temperature) {
  HasBothPoints();
  HasDocument("t", "abc");
  patch.NewDaySyncAccumulators(3, nullptr, &proxy);
  EXPECT_EQ(Today(), (DayAccumulator{500, 0, "500", "0", 450, 450, "45", "45"}));
}

TEST_F(SeedTest, Reads_0_from_a_document_that_can_not_be_had) {
  HasBothPoints();
  platform().pages.texts.clear();
  Temperature();
  EXPECT_EQ(Today(), (DayAccumulator{0, 0, "0", "0", 1100, 0, "1100", "0"}));
}

}  // namespace
}  // namespace patch_test
