// SPDX-License-Identifier: Apache-2.0
// Rendered documents and the edits made in them.
#include <sched.h>
#include <unistd.h>

#include <thread>

#include "PatchTest.h"

namespace patch_test {
namespace {

using cloudclient::ResourceUrlEntry;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class PatchDocumentTest : public PatchTest {
 protected:
  std::string WithTemperatures(std::string document, int32_t device = 1) {
    patch.UpdateDocWithTempUomValues(device, document);
    return document;
  }

  std::string Replaced(std::string document, const std::string& tag, const std::string& value,
                       size_t from) {
    patch.ReplaceTagWithValue(document, tag, value, from);
    return document;
  }

  std::string WithSevenDayValues(std::string document) {
    patch.FillSevenDayValues(document);
    return document;
  }

  // The points asked for so far.
  std::vector<uint16_t> PointsAsked() const {
    std::vector<uint16_t> points;
    for (const fakes::PointQuery& query : platform().proxy.pointsAsked) {
      points.push_back(query.point);
    }
    return points;
  }

  // Opens today's record and puts a reading of each kind into it.
  void HasSevenDayValues() {
    platform().proxy.resolutions[1] = 1;
    Loaded(Map(kThermal, Point("1", R"("pld": "t", "7dayTempAccum": true)") + "," +
                             Point("2", R"("pld": "h", "7dayHumAccum": true)")));
    HasDocument("t", "21");
    HasDocument("h", "45");
    patch.NewDaySyncAccumulators(1, &client, &platform().proxy);
    HasDocument("t", "25");
    patch.AccumulatorUpdate(patch.GetDayKey(), 250, patch.GetMap().Points().at(1), 1);
    HasDocument("h", "55");
    patch.AccumulatorUpdate(patch.GetDayKey(), 550, patch.GetMap().Points().at(2), 1);
    platform().log.records.clear();
  }
};

// Rendering.

TEST_F(PatchDocumentTest, Is_rendered_from_the_resources_page_without_a_query) {
  platform().pages.texts["patch/thermal"] = "{\"a\": 1}\r\n";
  ResourceUrlEntry resource;
  resource.resourcePatch = "patch/thermal";
  EXPECT_EQ(patch.GetPatchDoc(65537, resource), "{\"a\": 1}\r\n");
  ASSERT_THAT(platform().pages.asked, SizeIs(1));
  EXPECT_EQ(platform().pages.asked[0].query, "");
  EXPECT_EQ(platform().pages.asked[0].page, "patch/thermal");
  EXPECT_EQ(platform().pages.asked[0].velId, 65537);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(PatchDocumentTest, Is_empty_when_the_page_can_not_be_had) {
  ResourceUrlEntry resource;
  resource.resourcePatch = "patch/thermal";
  EXPECT_EQ(patch.GetPatchDoc(1, resource), "");
  EXPECT_THAT(Lines(), ElementsAre("3 GetPatchDoc: Failed to get patch patch/thermal"));
}

TEST_F(PatchDocumentTest, Is_empty_without_a_proxy) {
  platform().pages.texts["patch/thermal"] = "{}";
  patch.SetPldProxy(nullptr);
  ResourceUrlEntry resource;
  resource.resourcePatch = "patch/thermal";
  EXPECT_EQ(patch.GetPatchDoc(1, resource), "");
  EXPECT_THAT(Lines(), ElementsAre("3 GetPatchDoc: Failed to get patch patch/thermal"));
}

// Tags and their values.

TEST_F(PatchDocumentTest, Replaces_the_first_tag_from_a_position) {
  EXPECT_EQ(Replaced("tag tag tag", "tag", "x", 0), "x tag tag");
  EXPECT_EQ(Replaced("tag tag tag", "tag", "x", 1), "tag x tag");
  EXPECT_EQ(Replaced("tag tag tag", "tag", "x", 4), "tag x tag");
  EXPECT_EQ(Replaced("tag tag tag", "tag", "longer", 8), "tag tag longer");
}

TEST_F(PatchDocumentTest, Replaces_a_tag_by_null_for_an_empty_value) {
  EXPECT_EQ(Replaced("a tag b", "tag", "", 0), "a null b");
}

TEST_F(PatchDocumentTest, Is_left_alone_where_the_tag_is_missing) {
  EXPECT_EQ(Replaced("tag", "tag", "x", 1), "tag");
  EXPECT_EQ(Replaced("tag", "tag", "x", 3), "tag");
  EXPECT_EQ(Replaced("tag", "tag", "x", 1000), "tag");
  EXPECT_EQ(Replaced("ta", "tag", "x", 0), "ta");
  EXPECT_EQ(Replaced("", "tag", "x", 0), "");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(PatchDocumentTest, Is_left_alone_by_an_empty_tag) {
  EXPECT_EQ(Replaced("abc", "", "x", 0), "abc");
  EXPECT_EQ(Replaced("abc", "", "", 1), "abc");
}

// Temperatures in degrees Celsius.

TEST_F(PatchDocumentTest, Gets_a_temperature_in_place_of_its_tag) {
  platform().proxy.points[12] = "21";
  EXPECT_EQ(WithTemperatures("{\"t\":temp_uom_celsius~12}"), "{\"t\":21}");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(PatchDocumentTest, Asks_for_a_temperature_in_degrees_Celsius) {
  WithTemperatures("{temp_uom_celsius~1201}", 0x00050011);
  ASSERT_THAT(platform().proxy.pointsAsked, SizeIs(1));
  const fakes::PointQuery& query = platform().proxy.pointsAsked[0];
  EXPECT_EQ(query.device, 0x11);
  EXPECT_EQ(query.point, 1201);
  EXPECT_EQ(query.arg2, 1);
  EXPECT_EQ(query.arg3, 0);
  EXPECT_EQ(query.arg4, 4125);
  EXPECT_EQ(query.arg5, 0);
  EXPECT_EQ(query.reserved, 0);
}

TEST_F(PatchDocumentTest, Gets_null_for_a_temperature_that_is_empty_or_can_not_be_had) {
  platform().proxy.points[12] = "";
  EXPECT_EQ(WithTemperatures("{\"t\":temp_uom_celsius~12}"), "{\"t\":null}");
  EXPECT_EQ(WithTemperatures("{\"t\":temp_uom_celsius~13}"), "{\"t\":null}");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(PatchDocumentTest, Gets_the_text_that_a_failed_query_for_a_temperature_left) {
  LeavingProxy proxy;
  patch.SetPldProxy(&proxy);
  EXPECT_EQ(WithTemperatures("{\"t\":temp_uom_celsius~12}"), "{\"t\":left}");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(PatchDocumentTest, Gets_null_for_temperatures_without_a_proxy) {
  patch.SetPldProxy(nullptr);
  EXPECT_EQ(WithTemperatures("[temp_uom_celsius~12,temp_uom_celsius~13]"), "[null,null]");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(PatchDocumentTest, Gets_every_temperature_in_order) {
  platform().proxy.points = {{12, "21"}, {13, "-4"}, {120, "100"}};
  EXPECT_EQ(WithTemperatures("[temp_uom_celsius~120,temp_uom_celsius~12,temp_uom_celsius~13,"
                             "temp_uom_celsius~12]"),
            "[100,21,-4,21]");
  EXPECT_THAT(PointsAsked(), ElementsAre(120, 12, 13, 12));
}

TEST_F(PatchDocumentTest, Replaces_both_tags_of_one_point) {
  platform().proxy.points[12] = "21";
  EXPECT_EQ(WithTemperatures("temp_uom_celsius~12 temp_uom_celsius~12;"), "21 21;");
  EXPECT_THAT(PointsAsked(), ElementsAre(12, 12));
}

TEST_F(PatchDocumentTest, Ends_a_temperatures_number_at_the_first_character_that_is_no_digit) {
  platform().proxy.points = {{1, "a"}, {12, "b"}};
  EXPECT_EQ(WithTemperatures("temp_uom_celsius~1e2,temp_uom_celsius~12.5,"), "ae2,b.5,");
  EXPECT_EQ(WithTemperatures(std::string("temp_uom_celsius~12\0x", 21)), std::string("b\0x", 3));
}

TEST_F(PatchDocumentTest, Reads_a_temperatures_number_as_a_decimal_one) {
  platform().proxy.points = {{12, "21"}, {10, "octal"}, {8, "octal"}};
  EXPECT_EQ(WithTemperatures("{temp_uom_celsius~00012}"), "{21}");
  EXPECT_EQ(WithTemperatures("{temp_uom_celsius~010}"), "{octal}");
}

TEST_F(PatchDocumentTest, Cuts_a_temperatures_number_to_16_bits) {
  WithTemperatures("{temp_uom_celsius~66737}");
  WithTemperatures("{temp_uom_celsius~4294968497}");
  EXPECT_THAT(PointsAsked(), ElementsAre(1201, 1201));
}

TEST_F(PatchDocumentTest, Survives_a_temperatures_number_of_any_length) {
  EXPECT_EQ(WithTemperatures("{temp_uom_celsius~" + std::string(100000, '9') + "}"), "{null}");
  EXPECT_THAT(PointsAsked(), SizeIs(1));
}

TEST_F(PatchDocumentTest, Gets_null_without_a_query_for_a_tag_without_digits) {
  platform().proxy.points[0] = "21";
  EXPECT_EQ(WithTemperatures("{\"t\":temp_uom_celsius~}"), "{\"t\":null}");
  EXPECT_EQ(WithTemperatures("{temp_uom_celsius~temp_uom_celsius~0}"), "{null21}");
  EXPECT_THAT(PointsAsked(), ElementsAre(0));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(PatchDocumentTest, Without_a_temperature_tag_is_left_alone) {
  EXPECT_EQ(WithTemperatures(""), "");
  EXPECT_EQ(WithTemperatures("{\"t\":temp_uom_celsius12}"), "{\"t\":temp_uom_celsius12}");
  EXPECT_EQ(WithTemperatures("{\"t\":Temp_uom_celsius~12}"), "{\"t\":Temp_uom_celsius~12}");
  EXPECT_EQ(WithTemperatures("temp_uom_celsius"), "temp_uom_celsius");
  EXPECT_THAT(platform().proxy.pointsAsked, IsEmpty());
}

TEST_F(PatchDocumentTest, Searches_again_from_where_a_temperature_was_put) {
  platform().proxy.points = {{12, "temp_uom_celsius~13"}, {13, "5"}};
  EXPECT_EQ(WithTemperatures("{temp_uom_celsius~12}"), "{5}");
  EXPECT_THAT(PointsAsked(), ElementsAre(12, 13));
}

TEST_F(PatchDocumentTest, Does_not_search_before_where_a_temperature_was_put) {
  platform().proxy.points = {{12, "~13"}, {13, "5"}};
  EXPECT_EQ(WithTemperatures("{temp_uom_celsiustemp_uom_celsius~12}"), "{temp_uom_celsius~13}");
  EXPECT_THAT(PointsAsked(), ElementsAre(12));
}

// A document that ends in a tag: the loop does not end. Shown in a child process that ends itself
// with its 50th message.
void ShowEndlessLoop(cloudclient::PatchMgr& patch, std::string document, const std::string& changed,
                     const std::string& message) {
  alarm(60);  // should nothing be logged
  std::thread loop([&patch, &document] {
    patch.UpdateDocWithTempUomValues(1, document);
    _exit(3);
  });
  loop.detach();
  for (;;) {
    {
      const fakes::RecordLock lock(fakes::RecordMutex());
      const std::vector<fakes::LogRecord>& records = fakes::platform().log.records;
      if (records.size() >= 50) {
        for (const fakes::LogRecord& record : records) {
          if (record.level != 3 || record.unit != "PatchMgr" || record.text != message) _exit(4);
        }
        _exit(document == changed ? 0 : 5);
      }
    }
    sched_yield();
  }
}

TEST_F(PatchDocumentTest, A_tag_at_the_very_end_is_found_for_ever) {
  EXPECT_EXIT(ShowEndlessLoop(patch, "{\"t\":temp_uom_celsius~12", "{\"t\":temp_uom_celsius~12",
                              "UpdateDocWithTempUomValues: Found invalid UoM tag "
                              "(temp_uom_celsius~) at position 5.  No point ID."),
              testing::ExitedWithCode(0), "");
}

TEST_F(PatchDocumentTest, A_tag_without_digits_at_the_very_end_is_found_for_ever) {
  EXPECT_EXIT(ShowEndlessLoop(patch, "temp_uom_celsius~", "temp_uom_celsius~",
                              "UpdateDocWithTempUomValues: Found invalid UoM tag "
                              "(temp_uom_celsius~) at position 0.  No point ID."),
              testing::ExitedWithCode(0), "");
}

TEST_F(PatchDocumentTest, Tags_before_one_at_the_very_end_are_replaced) {
  platform().proxy.points[12] = "21";
  EXPECT_EXIT(
      ShowEndlessLoop(patch, "[temp_uom_celsius~12,temp_uom_celsius~12", "[21,temp_uom_celsius~12",
                      "UpdateDocWithTempUomValues: Found invalid UoM tag "
                      "(temp_uom_celsius~) at position 4.  No point ID."),
      testing::ExitedWithCode(0), "");
}

// Seven-day words.

TEST_F(PatchDocumentTest, Gets_each_seven_day_value_in_place_of_its_word) {
  HasSevenDayValues();
  EXPECT_EQ(WithSevenDayValues("7daylowhum 7dayhighhum 7daylowtemp 7dayhightemp"), "45 55 21 25");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(PatchDocumentTest, Gets_only_the_first_of_each_seven_day_word_replaced) {
  HasSevenDayValues();
  EXPECT_EQ(WithSevenDayValues("7dayhightemp 7dayhightemp 7daylowhum 7daylowhum"),
            "25 7dayhightemp 45 7daylowhum");
}

TEST_F(PatchDocumentTest, Gets_a_seven_day_word_replaced_inside_a_longer_word) {
  HasSevenDayValues();
  EXPECT_EQ(WithSevenDayValues("x7dayhightempy \"7daylowtemperature\""), "x25y \"21erature\"");
}

TEST_F(PatchDocumentTest, Without_seven_day_words_is_left_alone) {
  HasSevenDayValues();
  EXPECT_EQ(WithSevenDayValues("7DayHighTemp 7dayhigh temp"), "7DayHighTemp 7dayhigh temp");
}

TEST_F(PatchDocumentTest, Gets_null_for_every_seven_day_word_while_there_is_no_day) {
  EXPECT_EQ(WithSevenDayValues("7dayhightemp,7daylowtemp,7dayhighhum,7daylowhum"),
            "null,null,null,null");
}

// Each replacement makes the word of the next one: another order would leave words behind.
TEST_F(PatchDocumentTest, Gets_the_seven_day_words_replaced_high_and_low_temperature_first) {
  Loaded(Map(kThermal, Point("1", R"("pld": "t", "7dayTempAccum": true)") + "," +
                           Point("2", R"("pld": "t", "7dayHumAccum": true)")));
  HasDocument("t", "7");
  patch.NewDaySyncAccumulators(1, &client, &platform().proxy);
  EXPECT_EQ(WithSevenDayValues("7dayhightempdaylowtempdayhighhumdaylowhum"), "7");
}

// A point's own template.

TEST_F(PatchDocumentTest, Substitutes_the_first_parameter_of_a_template) {
  EXPECT_EQ(patch.PatchValueSubstitute("a%1b%1", "\"x\""), "axb%1");
  EXPECT_EQ(patch.PatchValueSubstitute("%1", "x"), "x");
  EXPECT_EQ(patch.PatchValueSubstitute("a%10", "\"\""), "a0");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(PatchDocumentTest, Does_not_substitute_in_the_substituted_value) {
  EXPECT_EQ(patch.PatchValueSubstitute("%1%1", "%1\"%1"), "%1%1%1");
}

TEST_F(PatchDocumentTest, Of_a_template_without_a_parameter_is_empty) {
  EXPECT_EQ(patch.PatchValueSubstitute("a%2b% 1", "x"), "");
  EXPECT_EQ(patch.PatchValueSubstitute("", "x"), "");
  const std::string line = "3 PatchValueSubstitute: Failed to find substitution parameter";
  EXPECT_THAT(Lines(), ElementsAre(line, line));
}

}  // namespace
}  // namespace patch_test
