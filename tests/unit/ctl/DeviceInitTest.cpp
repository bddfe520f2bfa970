// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ctl/DeviceCheck.h"
#include "ctl/NewDevice.h"
#include "ctl/NewFiles.h"
#include "ctl/PointTable.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const std::vector<host::JsonKey>& RegisterKeys() {
  static const std::vector<host::JsonKey> kKeys = {
      {"Register", host::JsonKey::Type::kInteger, 0, 65535}, {"Table", host::JsonKey::Type::kText}};
  return kKeys;
}

// The rows as "line name settings unit decimals scale"; or the problem.
std::vector<std::string> Rows(const std::string& text) {
  std::vector<ctl::TableRow> rows;
  if (const host::Problem problem = ctl::ReadPointTable(text, RegisterKeys(), rows)) {
    return {problem.Text()};
  }
  std::vector<std::string> texts;
  for (const ctl::TableRow& row : rows) {
    std::string line = std::to_string(row.line) + " " + row.point.name + " " + row.point.settings +
                       " " + row.point.unit + " " + std::to_string(row.point.decimals);
    if (row.point.scale != 1) line += " scaled";
    for (const auto& [told, state] : row.point.states) line.append(" ").append(told + "=" + state);
    texts.push_back(line);
  }
  return texts;
}

TEST(PointTableTest, Row_is_a_point_by_the_names_of_the_columns) {
  EXPECT_THAT(Rows("# a unit\r\n\r\nRegister, Name ,Unit,Decimals,Scale,Table,States\r\n"
                   "10, supply ,degC,1,0.1,input\r\n"
                   "20,mode,,,,,0=Off; 1 = On\r\n"),
              ElementsAre(R"(4 supply {"Register":10,"Table":"input"} degC 1 scaled)",
                          R"(5 mode {"Register":20}  0 0=Off 1=On)"));
}

TEST(PointTableTest, Fault_is_told_with_its_line) {
  const auto fault = [](const std::string& text) { return Rows(text).at(0); };
  EXPECT_EQ(fault("Name,Register\na,70000"),
            "line 2: \"Register\" is not an integer from 0 to 65535");
  EXPECT_EQ(fault("Name,Register\n\na,x"),
            "line 3: \"Register\" is not an integer from 0 to 65535");
  EXPECT_EQ(fault("Name,Decimals\na,12"), "line 2: \"Decimals\" is not an integer from 0 to 9");
  EXPECT_EQ(fault("Name,Scale\na,big"), "line 2: \"Scale\" is not a number");
  EXPECT_EQ(fault("Name,States\na,On"), "line 2: \"States\" is not written as 0=Off; 1=On");
  EXPECT_EQ(fault("Name\na,1"), "line 2: it has more fields than columns");
  EXPECT_EQ(fault("Name,Register\n,1"), "line 2: its \"Name\" is empty");
  EXPECT_EQ(fault("Name\n\xff"), "line 2: \"Name\" is not UTF-8");
  EXPECT_EQ(fault("Name,Name\n"), "line 1: \"Name\" is a column twice");
  EXPECT_EQ(fault("Register\n1"), "line 1: the column \"Name\" is missing");
  EXPECT_EQ(fault("Name,Registr\n"),
            "line 1: \"Registr\" is no column: they are Name, Unit, Decimals, Scale, States, "
            "Register, Table");
  EXPECT_EQ(fault("# nothing\n"), "it holds no line that names the columns");
  EXPECT_EQ(fault("Name\n"), "it holds no point");
  std::string many = "Name\n";
  for (int i = 0; i < 1001; ++i) many += "a\n";
  EXPECT_EQ(fault(many), "line 1002: there are more than 1000 points");
}

host::OfferedPoint Offered(const std::string& name, const std::string& unit) {
  host::OfferedPoint point;
  point.settings = "{}";
  point.name = name;
  point.unit = unit;
  return point;
}

host::Offer OfferOf(std::vector<host::OfferedPoint> points) {
  host::Offer offer;
  offer.sources.push_back({"Rack PDU", R"({"Command": ["/bin/true"]})", std::move(points)});
  return offer;
}

ctl::NewDevice DeviceOf(std::vector<host::OfferedPoint> points) {
  return {{"command", "Rack 7", "1.0.0"}, OfferOf(std::move(points))};
}

std::string FileOf(const ctl::NewDevice& device, const std::string& name) {
  for (const ctl::DataText& file : device.DataFiles()) {
    if (file.name == name) return file.text;
  }
  return "none";
}

std::vector<std::string> NamesOf(const ctl::NewDevice& device) {
  std::vector<std::string> names;
  for (const auto& row : device.Rows()) names.push_back(row[1]);
  return names;
}

TEST(NewDeviceTest, Names_are_small_words_that_no_two_points_share) {
  EXPECT_THAT(NamesOf(DeviceOf({Offered("CPU 1 (die)", ""), Offered("cpu-1.die", ""),
                                Offered("\xff", ""), Offered("", ""), Offered("***", "")})),
              ElementsAre("cpu_1_die", "cpu_1_die_2", "point_1003", "point_1004", "point_1005"));
}

TEST(NewDeviceTest, Words_of_a_device_leave_a_page_a_page) {
  const ctl::NewDevice device =
      DeviceOf({Offered("a\"b\\c{{point:1}}\n|~" + std::string(200, 'x'), "degC")});
  const std::string page = FileOf(device, "patch/thermal.txt");
  EXPECT_THAT(page, HasSubstr(R"("Name": "a'b/c((point:1)) /-xxx)"));
  EXPECT_THAT(page, HasSubstr("{{point:1001|null}}"));
}

TEST(NewDeviceTest, Points_stand_in_the_resource_of_their_unit) {
  host::OfferedPoint mode = Offered("mode", "");
  mode.states = {{"1", "On"}};
  const ctl::NewDevice device =
      DeviceOf({Offered("inlet", "degC"), Offered("fan", "rpm"), Offered("rail", "V"),
                Offered("input", "W"), Offered("load", "A"), mode});
  EXPECT_THAT(FileOf(device, "patch/thermal.txt"),
              testing::AllOf(HasSubstr(R"("ReadingCelsius": {{point:1001|null}})"),
                             HasSubstr(R"("Reading": {{point:1002|null}})")));
  EXPECT_THAT(FileOf(device, "patch/power.txt"),
              testing::AllOf(HasSubstr(R"("ReadingVolts": {{point:1003|null}})"),
                             HasSubstr(R"("PowerConsumedWatts": {{point:1004|null}})")));
  EXPECT_THAT(FileOf(device, "patch/readings.txt"),
              testing::AllOf(HasSubstr(R"("Reading": {{point:1005|null}}, "ReadingUnits": "A")"),
                             HasSubstr(R"("State": "{{point:1006}}")")));
  EXPECT_EQ(FileOf(DeviceOf({Offered("inlet", "degC")}), "patch/power.txt"), "none");
}

TEST(NewDeviceTest, Description_has_nothing_to_find) {
  host::Offer offer = OfferOf({});
  offer.sources[0].points.resize(3, Offered("x", "V"));
  offer.sources.push_back(offer.sources[0]);
  const ctl::NewDevice device({"nowhere", "Rack 7", "1.0.0"}, offer);
  host::DeviceModel model;
  EXPECT_THAT(ctl::FindingsOf(device.Description(), model),
              ElementsAre(HasSubstr("\"nowhere\" are not read: its module is not installed")));
  EXPECT_EQ(model.points.size(), 6u);
  EXPECT_EQ(model.events.size(), 2u);
  EXPECT_EQ(model.sources.at(1).name, "rack_pdu_2");
}

// Files in a folder of their own.
class NewFilesTest : public testing::Test {
 protected:
  NewFilesTest() {
    std::string name = fs::temp_directory_path() / "new_files.XXXXXX";
    EXPECT_NE(mkdtemp(&name[0]), nullptr);
    m_folder = name;
  }
  ~NewFilesTest() override { fs::remove_all(m_folder); }

  std::string In(const std::string& name) const { return m_folder / name; }
  std::string TextOf(const std::string& name) const {
    std::ifstream file(In(name));
    return {std::istreambuf_iterator<char>(file), {}};
  }
  std::vector<std::string> All() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::recursive_directory_iterator(m_folder)) {
      if (!entry.is_directory()) names.push_back(fs::relative(entry.path(), m_folder));
    }
    return names;
  }

  fs::path m_folder;
};

TEST_F(NewFilesTest, Are_written_for_all_to_read) {
  EXPECT_EQ(ctl::WriteNewFiles({{In("a/b/one"), "1"}, {In("two"), "2"}}, false).Text(), "");
  EXPECT_THAT(All(), testing::UnorderedElementsAre("a/b/one", "two"));
  EXPECT_EQ(TextOf("a/b/one"), "1");
  EXPECT_EQ(fs::status(In("two")).permissions(), fs::perms(0644));
}

TEST_F(NewFilesTest, Leave_alone_what_is_there) {
  std::ofstream(In("two")) << "old";
  EXPECT_EQ(ctl::WriteNewFiles({{In("one"), "1"}, {In("two"), "2"}}, false).Text(),
            In("two") + ": File exists");
  EXPECT_THAT(All(), ElementsAre("two"));
  EXPECT_EQ(TextOf("two"), "old");
}

TEST_F(NewFilesTest, Replace_what_they_are_told_to) {
  std::ofstream(In("two")) << "old";
  ASSERT_EQ(chmod(In("two").c_str(), 0600), 0);
  EXPECT_EQ(ctl::WriteNewFiles({{In("one"), "1"}, {In("two"), "2"}}, true).Text(), "");
  EXPECT_EQ(TextOf("two"), "2");
  EXPECT_EQ(fs::status(In("two")).permissions(), fs::perms(0600));
}

TEST_F(NewFilesTest, Are_all_as_they_were_when_one_can_not_be_written) {
  std::ofstream(In("one")) << "old";
  std::ofstream(In("file")) << "no folder";
  EXPECT_THAT(
      ctl::WriteNewFiles({{In("new"), "0"}, {In("one"), "1"}, {In("file/x"), "2"}}, true).Text(),
      HasSubstr("Not a directory"));
  EXPECT_THAT(All(), testing::UnorderedElementsAre("one", "file"));
  // Only when all were written beside their places does it show that a folder stands in one.
  fs::create_directories(In("folder/x"));
  EXPECT_THAT(
      ctl::WriteNewFiles({{In("new"), "0"}, {In("one"), "1"}, {In("folder"), "2"}}, true).Text(),
      HasSubstr(In("folder") + ": "));
  EXPECT_EQ(TextOf("one"), "old");
  EXPECT_THAT(All(), testing::UnorderedElementsAre("one", "file"));
}

}  // namespace
