// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "HostTest.h"
#include "SourceDouble.h"
#include "host/device/sources/hwmon/Hwmon.h"

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class HwmonTest : public HostTest {
 protected:
  HwmonTest() {
    Chip(0, "coretemp", "platform/coretemp.0");
    Sensor(0, "temp1_input", "45000");
    Sensor(0, "temp1_label", "Package id 0");
    Sensor(0, "temp2_input", "43500");
    Sensor(0, "temp2_label", "Core 0");
    Sensor(0, "temp2_crit", "100000");
    Sensor(0, "temp2_crit_alarm", "1");
  }

  // A chip as the system shows it, with a link to its device.
  void Chip(int number, const std::string& name, const std::string& device) const {
    Write(Folder(number) + "/name", name + "\n");
    fs::create_directories(In("/sys/devices/" + device));
    fs::create_symlink("../../../devices/" + device, In(Folder(number) + "/device"));
  }
  void Sensor(int number, const std::string& file, const std::string& text) const {
    Write(Folder(number) + "/" + file, text + "\n");
  }
  static std::string Folder(int number) {
    return "/sys/class/hwmon/hwmon" + std::to_string(number);
  }

  const host::HwmonModule m_module;
};

}  // namespace

TEST_F(HwmonTest, Sensor_goes_by_chip_and_label) {
  OpenedSource chip(m_module, R"({"Chip": "coretemp"})");
  chip.Point(R"({"Label": "Core 0"})").Point(R"({"Label": "Package id 0"})");
  EXPECT_THAT(chip.faults, IsEmpty());
  EXPECT_EQ(chip.Read(), "");
  EXPECT_EQ(chip.told.values[0], "43.5");
  EXPECT_EQ(chip.told.values[1], "45");
}

TEST_F(HwmonTest, Sensor_without_a_label_goes_by_its_files) {
  Chip(1, "nct6775", "platform/nct6775.656");
  Sensor(1, "fan2_input", "1180");
  Sensor(1, "in0_input", "1024");
  Sensor(1, "power1_average", "12500000");
  Sensor(1, "pwm1", "255");
  OpenedSource chip(m_module, R"({"Chip": "nct6775"})");
  chip.Point(R"({"Label": "fan2"})").Point(R"({"Label": "in0"})");
  chip.Point(R"({"Label": "power1", "Attribute": "average"})");
  EXPECT_EQ(chip.Read(), "");
  EXPECT_EQ(chip.told.values[0], "1180");
  EXPECT_EQ(chip.told.values[1], "1.024");
  EXPECT_EQ(chip.told.values[2], "12.5");
}

TEST_F(HwmonTest, Other_attributes_of_a_sensor_are_read) {
  OpenedSource chip(m_module, R"({"Chip": "coretemp"})");
  chip.Point(R"({"Label": "Core 0", "Attribute": "crit"})");
  chip.Point(R"({"Label": "Core 0", "Attribute": "crit_alarm"})");
  EXPECT_EQ(chip.Read(), "");
  EXPECT_EQ(chip.told.values[0], "100");
  EXPECT_EQ(chip.told.values[1], "1");
}

TEST_F(HwmonTest, Sensors_of_one_label_are_told_apart_by_their_kind) {
  Sensor(0, "fan1_input", "900");
  Sensor(0, "fan1_label", "Core 0");
  OpenedSource chip(m_module, R"({"Chip": "coretemp"})");
  chip.Point(R"({"Label": "Core 0"})").Point(R"({"Label": "Core 0", "Kind": "fan"})");
  EXPECT_EQ(chip.Read(), "");
  EXPECT_EQ(chip.told.values[0], "none: more than one sensor is \"Core 0\": fan1, temp2");
  EXPECT_EQ(chip.told.values[1], "900");
}

TEST_F(HwmonTest, Chips_of_one_name_are_told_apart_by_their_device) {
  for (int number = 1; number <= 2; ++number) {
    Chip(number, "nvme", "pci0000:00/0000:0" + std::to_string(number) + ":00.0/nvme");
    Sensor(number, "temp1_input", std::to_string(number) + "000");
  }
  OpenedSource either(m_module, R"({"Chip": "nvme"})");
  EXPECT_EQ(either.Point(R"({"Label": "temp1"})").Read(),
            "more than one chip is named \"nvme\", of the devices nvme, nvme");
  OpenedSource one(m_module, R"({"Chip": "nvme", "Device": "0000:02:00.0/nvme"})");
  EXPECT_EQ(one.Point(R"({"Label": "temp1"})").Read(), "");
  EXPECT_EQ(one.told.values[0], "2");
  OpenedSource none(m_module, R"({"Chip": "nvme", "Device": "2:00.0/nvme"})");
  EXPECT_EQ(none.Read(), "no chip is named \"nvme\" with the device \"2:00.0/nvme\"");
}

TEST_F(HwmonTest, Chip_that_gets_another_number_is_found_again) {
  OpenedSource chip(m_module, R"({"Chip": "coretemp"})");
  chip.Point(R"({"Label": "Core 0"})");
  EXPECT_EQ(chip.Read(), "");
  fs::rename(In(Folder(0)), In(Folder(7)));
  EXPECT_THAT(chip.Read(), testing::EndsWith("temp2_input: No such file or directory"));
  EXPECT_EQ(chip.Read(), "");
  EXPECT_EQ(chip.told.values[0], "43.5");
}

TEST_F(HwmonTest, Sensor_that_is_not_there_or_tells_no_number_has_no_value) {
  OpenedSource chip(m_module, R"({"Chip": "coretemp"})");
  chip.Point(R"({"Label": "Core 9"})").Point(R"({"Label": "Core 0"})");
  Sensor(0, "temp2_input", "N/A");
  EXPECT_EQ(chip.Read(), "");
  EXPECT_EQ(chip.told.values[0], "none: the chip has no sensor \"Core 9\"");
  EXPECT_EQ(chip.told.values[1], "none: " + In(Folder(0)) + "/temp2_input: holds no number");
  fs::remove_all(In("/sys/class"));
  EXPECT_THAT(chip.Read(), testing::HasSubstr("No such file"));
}

TEST_F(HwmonTest, Settings_that_name_no_sensor_are_faults) {
  EXPECT_THAT(OpenedSource(m_module, "{}").faults, ElementsAre("Chip is missing"));
  OpenedSource chip(m_module, R"({"Chip": "coretemp"})");
  chip.Point("{}").Point(R"({"Label": "", "Attribute": "../../x"})");
  EXPECT_THAT(chip.faults,
              ElementsAre("Label is missing", "Label is empty", "Attribute holds a slash"));
}
