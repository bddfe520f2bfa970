// SPDX-License-Identifier: Apache-2.0
#include <filesystem>

#include "HostTest.h"
#include "host/device/SourceSetup.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class SourceSetupTest : public HostTest {
 protected:
  // Prepares the sources of a description.
  void Prepare(const std::string& json) {
    m_model = ModelOf(json);
    m_prepared = host::PrepareSources(m_model, m_loader, m_problems, m_unknown, m_missing);
  }

  // What a connection tells, point by point, and the events that it raises.
  struct Told : host::SourceSink {
    std::vector<std::string> values;
    std::vector<size_t> events;

    void Number(size_t /*point*/, double /*number*/) override {}
    void Text(size_t point, const std::string& text) override {
      if (values.size() <= point) values.resize(point + 1);
      values[point] = text;
    }
    void NoValue(size_t /*point*/, const host::Problem& /*reason*/) override {}
    void Event(size_t event, bool /*raised*/) override { events.push_back(event); }
  };
  Told Read(size_t source) {
    Told told;
    EXPECT_FALSE(m_prepared.sources.at(source).connection->Read(told));
    return told;
  }

  host::SourceLoader m_loader{{CLOUDCLIENT_TEST_MODULES}};
  host::DeviceModel m_model;
  host::PreparedSources m_prepared;
  std::vector<std::string> m_problems;
  std::vector<std::string> m_unknown;
  std::vector<host::MissingModule> m_missing;
};

}  // namespace

TEST_F(SourceSetupTest, Points_and_events_of_a_named_source_share_its_connection) {
  Prepare(R"({"PollSeconds": 3, "Sources": {
      "pdu": {"Type": "fake", "Address": "a", "TimeoutSeconds": 7, "Retries": 0},
      "ups": {"Type": "fake", "Address": "b", "PollSeconds": 60}},
    "Points": [{"Id": 1, "Source": {"From": "pdu", "Tell": "all"}},
               {"Id": 2, "Source": {"From": "ups", "Tell": "x"}},
               {"Id": 3, "Source": {"From": "pdu", "Tell": "y"}}],
    "Events": [{"GddId": 9, "Modules": 2, "Source": {"From": "pdu", "On": "trap", "Module": 1,
                                                    "State": "Warning"}}]})");
  EXPECT_THAT(m_problems, IsEmpty());
  EXPECT_THAT(m_unknown, IsEmpty());
  ASSERT_EQ(m_prepared.sources.size(), 2u);
  const host::PreparedSource& pdu = m_prepared.sources[0];
  EXPECT_EQ(pdu.name, "pdu");
  EXPECT_EQ(pdu.intervalMs, 3000);
  EXPECT_EQ(pdu.limits.timeoutMs, 7000);
  EXPECT_EQ(pdu.limits.retries, 0);
  ASSERT_EQ(pdu.points.size(), 2u);
  EXPECT_EQ(pdu.points[1]->id, 3);
  ASSERT_EQ(pdu.events.size(), 1u);
  EXPECT_EQ(pdu.events[0].gddId, 9);
  EXPECT_EQ(pdu.events[0].module, 1u);
  EXPECT_EQ(pdu.events[0].state, 2);
  const Told told = Read(0);
  EXPECT_THAT(told.values,
              ElementsAre(R"({"Address":"a","Retries":0,"TimeoutSeconds":7} 7000 0)", "y"));
  EXPECT_THAT(told.events, ElementsAre(0u));
  EXPECT_EQ(m_prepared.sources[1].intervalMs, 60000);
  EXPECT_EQ(m_prepared.sources[1].limits.timeoutMs, 5000);
}

TEST_F(SourceSetupTest, Points_described_alike_share_a_connection) {
  Prepare(R"({"Points": [
    {"Id": 1, "Source": {"Type": "fake", "Address": "a", "Tell": "1"}},
    {"Id": 2, "Source": {"Tell": "2", "Address": "a", "Type": "fake"}},
    {"Id": 3, "Source": {"Type": "fake", "Address": "b", "Tell": "3"}}]})");
  EXPECT_THAT(m_problems, IsEmpty());
  ASSERT_EQ(m_prepared.sources.size(), 2u);
  EXPECT_EQ(m_prepared.sources[0].name, R"(fake {"Address":"a"})");
  EXPECT_THAT(Read(0).values, ElementsAre("1", "2"));
  EXPECT_THAT(Read(1).values, ElementsAre("3"));
}

TEST_F(SourceSetupTest, What_is_wrong_is_named_with_its_place) {
  Prepare(R"({"Sources": {"pdu": {"Type": "fake", "Address": 5}},
    "Points": [{"Id": 1, "Source": {"From": "pdu", "Tell": "x"}},
               {"Id": 2, "Source": {"Type": "fake", "Address": "a", "Tell": 7}},
               {"Id": 3, "Source": {"Type": "fake", "Address": "a", "Tell": "y"}}],
    "Events": [{"GddId": 9, "Source": {"Type": "fake", "Address": "a", "Module": 1, "On": "t"}}]})");
  EXPECT_THAT(m_problems,
              ElementsAre("\"Address\" in \"pdu\" of \"Sources\" is not a text",
                          "\"Address\" in \"pdu\" of \"Sources\" is missing",
                          "\"Tell\" in \"Source\" of \"Points\"[1] is not a text",
                          "\"Tell\" in \"Source\" of \"Points\"[1] is missing",
                          "\"Module\" in \"Source\" of \"Events\"[0] is none of the event's"));
  EXPECT_THAT(m_prepared.unserved, ElementsAre(1, 2));
  ASSERT_EQ(m_prepared.sources.size(), 1u);
  EXPECT_THAT(Read(0).values, ElementsAre("y"));
  EXPECT_THAT(m_prepared.sources[0].events, IsEmpty());
}

TEST_F(SourceSetupTest, Keys_that_nothing_reads_are_named) {
  Prepare(R"({"Sources": {"pdu": {"Type": "fake", "Address": "a", "Adress": "b"}},
    "Points": [{"Id": 1, "Source": {"From": "pdu", "Tell": "x", "Address": "b"}},
               {"Id": 2, "Source": {"Type": "fake", "Address": "a", "Tell": "x", "Pol": 1}}]})");
  EXPECT_THAT(m_unknown, ElementsAre("\"Adress\" (is \"Address\" meant?) in \"pdu\" of \"Sources\"",
                                     "\"Address\" in \"Source\" of \"Points\"[0]",
                                     "\"Pol\" in \"Source\" of \"Points\"[1]"));
  EXPECT_THAT(m_problems, IsEmpty());
}

TEST_F(SourceSetupTest, Module_that_is_missing_is_said_once) {
  Prepare(R"({"Sources": {"a": {"Type": "nowhere"}, "b": {"Type": "nowhere"}},
    "Points": [{"Id": 1, "Source": {"From": "a"}}, {"Id": 2, "Source": {"From": "b"}},
               {"Id": 3, "Source": {"Type": "nowhere"}}]})");
  ASSERT_EQ(m_missing.size(), 1u);
  EXPECT_EQ(m_missing[0].type, "nowhere");
  EXPECT_EQ(m_missing[0].reason, "its module is not installed");
  EXPECT_THAT(m_prepared.unserved, ElementsAre(1, 2, 3));
  EXPECT_THAT(m_prepared.sources, IsEmpty());
}

TEST_F(SourceSetupTest, Library_that_is_no_module_is_refused) {
  Write("/torn.so", "no library");
  host::SourceLoader loader({CLOUDCLIENT_TEST_MODULES, Root()});
  host::Problem problem;
  EXPECT_EQ(loader.Load("other", problem), nullptr);
  EXPECT_THAT(problem.Text(), HasSubstr("/other.so: is of another version than this program"));
  EXPECT_EQ(loader.Load("bare", problem), nullptr);
  EXPECT_THAT(problem.Text(), HasSubstr("/bare.so: is no module"));
  EXPECT_EQ(loader.Load("torn", problem), nullptr);
  EXPECT_THAT(problem.Text(), HasSubstr("/torn.so: "));
  EXPECT_NE(loader.Load("fake", problem), nullptr);
  EXPECT_FALSE(problem);
}

TEST_F(SourceSetupTest, Modules_are_looked_for_where_the_program_is_and_nowhere_else) {
  const std::string folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::vector<std::string> folders = host::SourceFolders();
  ASSERT_EQ(folders.size(), 2u);
  EXPECT_EQ(folders[0], folder + "/sources");
  EXPECT_THAT(folders[1], testing::StartsWith(folder + "/../lib"));
  EXPECT_THAT(folders[1], testing::EndsWith("/cloudclient/sources"));
}

TEST_F(SourceSetupTest, Findings_are_logged_with_the_file) {
  m_model = ModelOf(R"({"Points": [{"Id": 1, "Source": {"Type": "nowhere"}}]})");
  m_prepared = host::LoadSources(m_model, "/etc/device.json");
  EXPECT_EQ(LogCount("3 Host sources of the type \"nowhere\" are not read: its module is not "
                     "installed"),
            1);
}
