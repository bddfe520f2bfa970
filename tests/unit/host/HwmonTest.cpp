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

namespace {

// What the module offers: "chip settings", then "name settings value unit" of each point.
std::vector<std::string> Offered(const host::HwmonModule& module, const std::string& begin = "",
                                 size_t most = 100) {
  host::OfferRequest request;
  request.settings = "{}";
  request.begin = begin;
  request.most = most;
  host::SettingFaults faults;
  host::Offer offer;
  if (const host::Problem problem = module.FindOffer(request, faults, offer)) {
    return {problem.Text()};
  }
  std::vector<std::string> texts;
  for (const host::OfferedSource& source : offer.sources) {
    texts.push_back(source.name + " " + source.settings);
    for (const host::OfferedPoint& point : source.points) {
      texts.push_back(point.name + " " + point.settings + " " + point.value + " " + point.unit);
    }
  }
  if (offer.isCut) texts.emplace_back("cut");
  return texts;
}

}  // namespace

TEST_F(HwmonTest, Offer_is_every_sensor_with_its_unit) {
  Sensor(0, "in0_input", "1024");
  Sensor(0, "pwm1", "255");
  Sensor(0, "power1_average", "12500000");
  EXPECT_THAT(
      Offered(m_module),
      ElementsAre(R"(coretemp {"Chip":"coretemp"})",
                  R"(Package id 0 {"Label":"Package id 0"} 45.0 degC)",
                  R"(Core 0 {"Label":"Core 0"} 43.5 degC)", R"(in0 {"Label":"in0"} 1.024 V)",
                  R"(power1 {"Label":"power1","Attribute":"average"} 12.5 W)"));
}

TEST_F(HwmonTest, Offer_tells_alike_sensors_apart) {
  Sensor(0, "fan1_input", "900");
  Sensor(0, "fan1_label", "Core 0");
  Sensor(0, "temp3_input", "1000");
  Sensor(0, "temp3_label", "Package id 0");
  EXPECT_THAT(Offered(m_module),
              testing::UnorderedElementsAre(R"(coretemp {"Chip":"coretemp"})",
                                            R"(temp1 {"Label":"temp1","Kind":"temp"} 45.0 degC)",
                                            R"(Core 0 {"Label":"Core 0","Kind":"temp"} 43.5 degC)",
                                            R"(temp3 {"Label":"temp3","Kind":"temp"} 1.0 degC)",
                                            R"(Core 0 {"Label":"Core 0","Kind":"fan"} 900 rpm)"));
}

TEST_F(HwmonTest, Offer_tells_alike_chips_apart_by_their_devices) {
  for (int number = 1; number <= 2; ++number) {
    Chip(number, "nvme", "pci0000:00/0000:0" + std::to_string(number) + ":00.0/nvme/nvme0");
    Sensor(number, "temp1_input", std::to_string(1000 * number));
  }
  EXPECT_THAT(
      Offered(m_module, "nvme"),
      ElementsAre(
          R"(nvme 0000:01:00.0/nvme/nvme0 {"Chip":"nvme","Device":"0000:01:00.0/nvme/nvme0"})",
          R"(temp1 {"Label":"temp1"} 1.0 degC)",
          R"(nvme 0000:02:00.0/nvme/nvme0 {"Chip":"nvme","Device":"0000:02:00.0/nvme/nvme0"})",
          R"(temp1 {"Label":"temp1"} 2.0 degC)"));
  OpenedSource chip(m_module, R"({"Chip":"nvme","Device":"0000:02:00.0/nvme/nvme0"})");
  chip.Point(R"({"Label":"temp1"})");
  EXPECT_EQ(chip.Read(), "");
  EXPECT_EQ(chip.told.values[0], "2");
}

TEST_F(HwmonTest, Offer_is_cut_and_may_be_none) {
  EXPECT_THAT(Offered(m_module, "", 1),
              ElementsAre(R"(coretemp {"Chip":"coretemp"})",
                          R"(Package id 0 {"Label":"Package id 0"} 45.0 degC)", "cut"));
  EXPECT_THAT(Offered(m_module, "none"), ElementsAre("no chip \"none\" has a sensor"));
}
