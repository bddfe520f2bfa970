// SPDX-License-Identifier: Apache-2.0
#include "PatchTest.h"

#include <jansson.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>

namespace {

bool g_dumpsFails = false;
bool g_strftimeFails = false;

}  // namespace

extern "C" {
char* __real_json_dumps(const json_t* json, size_t flags);
char* __wrap_json_dumps(const json_t* json, size_t flags);
size_t __real_strftime(char* text, size_t size, const char* format, const struct tm* when);
size_t __wrap_strftime(char* text, size_t size, const char* format, const struct tm* when);
}

char* __wrap_json_dumps(const json_t* json, size_t flags) {
  return g_dumpsFails ? nullptr : __real_json_dumps(json, flags);
}

size_t __wrap_strftime(char* text, size_t size, const char* format, const struct tm* when) {
  return g_strftimeFails ? 0 : __real_strftime(text, size, format, when);
}

namespace cloudclient {

bool operator==(const ResourceUrlEntry& a, const ResourceUrlEntry& b) {
  return a.url == b.url && a.resourcePatch == b.resourcePatch && a.resourceTag == b.resourceTag &&
         a.accum7Day == b.accum7Day && a.tempUomCelsius == b.tempUomCelsius;
}

bool operator==(const PointPatchEntry& a, const PointPatchEntry& b) {
  return a.pld == b.pld && a.pldQueryArgs == b.pldQueryArgs && a.patch == b.patch &&
         a.msgid == b.msgid && a.message == b.message && a.severity == b.severity &&
         a.arg1 == b.arg1 && a.arg1Type == b.arg1Type && a.arg2 == b.arg2 &&
         a.arg2Type == b.arg2Type &&
         std::memcmp(a.queryArgs, b.queryArgs, sizeof(a.queryArgs)) == 0 &&
         a.numArgs == b.numArgs && a.tempAccum == b.tempAccum && a.humAccum == b.humAccum;
}

bool operator==(const DayAccumulator& a, const DayAccumulator& b) {
  return a.lowTemp == b.lowTemp && a.highTemp == b.highTemp && a.lowTempText == b.lowTempText &&
         a.highTempText == b.highTempText && a.lowHum == b.lowHum && a.highHum == b.highHum &&
         a.lowHumText == b.lowHumText && a.highHumText == b.highHumText;
}

std::ostream& operator<<(std::ostream& out, const ResourceUrlEntry& entry) {
  return out << "{url " << entry.url << ", page " << entry.resourcePatch << ", tag "
             << entry.resourceTag << ", 7day " << entry.accum7Day << ", celsius "
             << entry.tempUomCelsius << "}";
}

std::ostream& operator<<(std::ostream& out, const PointPatchEntry& entry) {
  out << "{pld " << entry.pld << ", args " << entry.pldQueryArgs << " (";
  for (const int32_t arg : entry.queryArgs) out << arg << " ";
  return out << "), patch " << entry.patch << ", msgid " << entry.msgid << ", message "
             << entry.message << ", severity " << entry.severity << ", numArgs " << entry.numArgs
             << ", arg1 " << entry.arg1 << " " << entry.arg1Type << ", arg2 " << entry.arg2 << " "
             << entry.arg2Type << ", temp " << entry.tempAccum << ", hum " << entry.humAccum << "}";
}

std::ostream& operator<<(std::ostream& out, const DayAccumulator& day) {
  return out << "{temp " << day.lowTemp << " '" << day.lowTempText << "' to " << day.highTemp
             << " '" << day.highTempText << "', hum " << day.lowHum << " '" << day.lowHumText
             << "' to " << day.highHum << " '" << day.highHumText << "'}";
}

}  // namespace cloudclient

namespace patch_test {

FailingDumps::FailingDumps() { g_dumpsFails = true; }
FailingDumps::~FailingDumps() { g_dumpsFails = false; }
FailingStrftime::FailingStrftime() { g_strftimeFails = true; }
FailingStrftime::~FailingStrftime() { g_strftimeFails = false; }

const char kThermal[] =
    R"("url": "/redfish/v1/Chassis/<chassisid>/Thermal", "resourcePatch": "patch/thermal",
       "resourceTag": "<chassisid>")";

std::string Map(const std::string& resourceMembers, const std::string& elements) {
  return R"({"resourceUrls": [{"name": "thermal", )" + resourceMembers + R"(}], "thermal": [)" +
         elements + "]}";
}

std::string Point(const std::string& id, const std::string& members) {
  return R"({"id": )" + id + R"(, "patch": "{%1}", )" + members + "}";
}

void SetReading(CovValue& value, uint8_t first, uint8_t second) {
  std::memset(value, '1', sizeof(value));
  value[0] = static_cast<char>(first);
  value[1] = static_cast<char>(second);
}

void PatchTest::SetUp() {
  PlatformTest::SetUp();
  std::string folder = testing::TempDir() + "patch_XXXXXX";
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  rootFolder = folder;
  std::filesystem::create_directories(std::filesystem::path(folder + kMapPath).parent_path());
  platform().root = folder;
  patch.SetPldProxy(&platform().proxy);
  uint32_t code = 0;
  ASSERT_EQ(client.InitCurl(code), cloudclient::kHttpsOk);
  // The transport's buffers are the process's: a POST leaves them empty.
  service.answersOnce("POST", "/", 200);
  std::string body;
  std::string header;
  ASSERT_EQ(client.PostJsonDocument("https://cloud.example/", body, header, "", ""),
            cloudclient::kHttpsOk);
  service.forget();
}

void PatchTest::TearDown() {
  if (!rootFolder.empty()) std::filesystem::remove_all(rootFolder);
}

void PatchTest::Write(const std::string& text) {
  std::ofstream file(rootFolder + kMapPath, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  ASSERT_TRUE(file.good());
}

int32_t PatchTest::Load(const std::string& text) {
  Write(text);
  return patch.InitCovPatchMaps(kMapPath);
}

void PatchTest::Loaded(const std::string& text) {
  ASSERT_EQ(Load(text), 0);
  platform().log.records.clear();
}

std::vector<std::string> PatchTest::Lines() const {
  std::vector<std::string> lines;
  for (const fakes::LogRecord& record : platform().log.records) {
    if (record.unit == "PatchMgr") {
      lines.push_back(std::to_string(record.level) + " " + record.text);
    }
  }
  return lines;
}

std::vector<std::string> PatchTest::DocumentsAsked() const {
  std::vector<std::string> queries;
  for (const fakes::Page& page : platform().pages.asked) {
    if (page.page == kValuePage) queries.push_back(page.query);
  }
  return queries;
}

std::vector<std::string> PatchTest::PagesAsked() const {
  std::vector<std::string> pages;
  for (const fakes::Page& page : platform().pages.asked) pages.push_back(page.page);
  return pages;
}

void PatchTest::HasDocument(const std::string& name, const std::string& value) {
  platform().pages.texts[std::string(kValuePage) + "?op1=" + name] = "op1=\"" + value + "\"";
}

}  // namespace patch_test
