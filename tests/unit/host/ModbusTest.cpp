// SPDX-License-Identifier: Apache-2.0
#include "HostTest.h"
#include "SourceDouble.h"
#include "host/device/sources/modbus/Modbus.h"
#include "host/device/sources/modbus/Registers.h"

using host::ModbusFormat;
using host::ModbusPoint;
using host::ModbusTable;
using testing::ElementsAre;

namespace {

class ModbusTest : public HostTest {
 protected:
  static ModbusPoint Point(int address, ModbusFormat format = ModbusFormat::kUint16,
                           ModbusTable table = ModbusTable::kHolding, int unit = 1) {
    ModbusPoint point;
    point.unit = unit;
    point.table = table;
    point.address = address;
    point.format = format;
    return point;
  }

  // "unit/table/address+count" of each request for these points.
  static std::vector<std::string> Requests(std::vector<ModbusPoint> points) {
    host::SortPoints(points);
    std::vector<const ModbusPoint*> all;
    for (const ModbusPoint& point : points) all.push_back(&point);
    std::vector<std::string> requests;
    for (const host::ModbusSpan& span : host::SpansOf(all)) {
      requests.push_back(std::to_string(span.unit) + "/" +
                         std::to_string(static_cast<int>(span.table)) + "/" +
                         std::to_string(span.address) + "+" + std::to_string(span.count));
    }
    return requests;
  }

  static double Number(ModbusFormat format, uint16_t first, uint16_t second = 0,
                       bool lowWordFirst = false) {
    ModbusPoint point = Point(0, format);
    point.lowWordFirst = lowWordFirst;
    const uint16_t elements[] = {first, second};
    return host::NumberOf(point, elements);
  }

  const host::ModbusModule m_module;
};

}  // namespace

TEST_F(ModbusTest, Registers_are_numbers_of_16_and_32_bits) {
  EXPECT_EQ(Number(ModbusFormat::kUint16, 0xffff), 65535);
  EXPECT_EQ(Number(ModbusFormat::kInt16, 0xffff), -1);
  EXPECT_EQ(Number(ModbusFormat::kUint32, 0x8000, 0x0001), 2147483649.0);
  EXPECT_EQ(Number(ModbusFormat::kInt32, 0xffff, 0xfffe), -2);
  EXPECT_EQ(Number(ModbusFormat::kFloat32, 0x41bc, 0x0000), 23.5);
}

TEST_F(ModbusTest, Low_word_may_come_first) {
  EXPECT_EQ(Number(ModbusFormat::kUint32, 0x0001, 0x8000, true), 2147483649.0);
  EXPECT_EQ(Number(ModbusFormat::kFloat32, 0x0000, 0x41bc, true), 23.5);
  EXPECT_EQ(Number(ModbusFormat::kInt16, 0x0001, 0x8000, true), 1);
}

TEST_F(ModbusTest, Bit_of_a_register_is_a_number) {
  ModbusPoint point = Point(0);
  const uint16_t elements[] = {0x8002};
  point.bit = 15;
  EXPECT_EQ(host::NumberOf(point, elements), 1);
  point.bit = 0;
  EXPECT_EQ(host::NumberOf(point, elements), 0);
}

TEST_F(ModbusTest, What_adjoins_is_one_request) {
  EXPECT_THAT(Requests({Point(12), Point(10, ModbusFormat::kFloat32), Point(14), Point(10)}),
              ElementsAre("1/0/10+3", "1/0/14+1"));
  EXPECT_THAT(Requests({Point(1), Point(2, ModbusFormat::kUint16, ModbusTable::kInput),
                        Point(2, ModbusFormat::kUint16, ModbusTable::kHolding, 2)}),
              ElementsAre("1/0/1+1", "1/1/2+1", "2/0/2+1"));
}

TEST_F(ModbusTest, Requests_ask_for_what_an_answer_can_hold) {
  std::vector<ModbusPoint> registers;
  std::vector<ModbusPoint> coils;
  for (int i = 0; i < 2001; ++i) {
    if (i <= 125) registers.push_back(Point(i));
    coils.push_back(Point(i, ModbusFormat::kUint16, ModbusTable::kCoil));
  }
  EXPECT_THAT(Requests(registers), ElementsAre("1/0/0+125", "1/0/125+1"));
  EXPECT_THAT(Requests(coils), ElementsAre("1/2/0+2000", "1/2/2000+1"));
  // What needs two registers is not torn.
  registers.resize(124);
  registers.push_back(Point(124, ModbusFormat::kFloat32));
  EXPECT_THAT(Requests(registers), ElementsAre("1/0/0+124", "1/0/124+2"));
}

TEST_F(ModbusTest, Settings_that_reach_nothing_are_faults) {
  EXPECT_THAT(OpenedSource(m_module, "{}").faults, ElementsAre("Address is missing"));
  EXPECT_THAT(OpenedSource(m_module, R"({"Address": "a:x", "Baud": 9600})").faults,
              ElementsAre("Address is no host with or without a port",
                          "Baud goes with a \"Device\" alone"));
  EXPECT_THAT(OpenedSource(m_module, R"({"Device": "tty", "Address": "a", "Parity": "e"})").faults,
              ElementsAre("Address stands beside a \"Device\"", "Device is not an absolute path",
                          "Parity is none of none, even, odd"));
}

TEST_F(ModbusTest, Settings_that_name_no_register_are_faults) {
  OpenedSource bus(m_module, R"({"Address": "127.0.0.1"})");
  bus.Point("{}").Point(R"({"Register": 1, "UnitId": 250, "Table": "x", "Format": "y"})");
  bus.Point(R"({"Register": 65535, "Format": "int32"})");
  bus.Point(R"({"Register": 1, "Table": "coil", "Format": "int16"})");
  bus.Point(R"({"Register": 1, "Bit": 3, "Format": "int16", "WordOrder": "middle"})");
  EXPECT_THAT(
      bus.faults,
      ElementsAre("Register is missing", "UnitId is neither from 1 to 247 nor 255",
                  "Table is none of holding, input, coil, discrete",
                  "Format is none of uint16, int16, uint32, int32, float32",
                  "Register has no second register behind it", "Format goes with registers alone",
                  "WordOrder is neither big nor little", "Bit stands beside a \"Format\""));
}

TEST_F(ModbusTest, Line_that_is_not_there_is_a_problem) {
  OpenedSource line(m_module, R"({"Device": "/dev/nowhere"})");
  EXPECT_EQ(line.Point(R"({"Register": 1})").Read(), "No such file or directory");
}
