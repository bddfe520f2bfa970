// SPDX-License-Identifier: Apache-2.0
#include "HostTest.h"
#include "host/device/PointValue.h"

namespace {

class PointValueTest : public HostTest {
 protected:
  // The value of the point that is described so, or its problem.
  static std::string OfNumber(const std::string& point, double number) {
    std::string value;
    const host::Problem problem = host::ValueOfNumber(Point(point), number, value);
    return problem ? problem.Text() : value;
  }
  static std::string OfText(const std::string& point, const std::string& text) {
    std::string value;
    const host::Problem problem = host::ValueOfText(Point(point), text, value);
    return problem ? problem.Text() : value;
  }

 private:
  static host::PointModel Point(const std::string& members) {
    return ModelOf(R"({"Points": [{"Id": 1)" + members + "}]}").points.at(0);
  }
};

constexpr char kStates[] = R"(, "States": {"1": "On", "2": "Off", "idle": "Waiting"})";

}  // namespace

TEST_F(PointValueTest, Number_is_scaled_and_rounded) {
  EXPECT_EQ(OfNumber("", 1200.4), "1200");
  EXPECT_EQ(OfNumber(R"(, "Decimals": 1)", 23.46), "23.5");
  EXPECT_EQ(OfNumber(R"(, "Decimals": 2, "Scale": 0.1)", -231), "-23.10");
  EXPECT_EQ(OfNumber(R"(, "Scale": 1e300)", 1e300), "holds no number");
}

TEST_F(PointValueTest, State_has_its_text_whether_number_or_text) {
  EXPECT_EQ(OfNumber(kStates, 1), "On");
  EXPECT_EQ(OfNumber(kStates, 2), "Off");
  EXPECT_EQ(OfNumber(kStates, 3), "3");
  EXPECT_EQ(OfText(kStates, "2.0"), "Off");
  EXPECT_EQ(OfText(kStates, "idle"), "Waiting");
  EXPECT_EQ(OfText(kStates, "Idle"), "Idle");
}

TEST_F(PointValueTest, Text_is_the_value_unless_a_scale_asks_for_a_number) {
  EXPECT_EQ(OfText("", "1.10"), "1.10");
  EXPECT_EQ(OfText(R"(, "Scale": 1, "Decimals": 1)", "23.46"), "23.5");
  EXPECT_EQ(OfText(R"(, "Scale": 1)", "warm"), "holds no number");
}

TEST_F(PointValueTest, Text_cannot_write_into_a_document) {
  EXPECT_EQ(OfText("", "a\"b\\c\nd\x7f"), "a'b/c d ");
  EXPECT_EQ(OfText("", std::string("a\0b", 3)), "a b");
  EXPECT_EQ(OfText("", "W\xc3\xa4rme"), "W\xc3\xa4rme");
  EXPECT_EQ(OfText("", "W\xe4rme"), "is not UTF-8");
  EXPECT_EQ(OfText("", std::string(253, 'x')), std::string(253, 'x'));
  EXPECT_EQ(OfText("", std::string(254, 'x')), "is longer than 253 bytes");
}
