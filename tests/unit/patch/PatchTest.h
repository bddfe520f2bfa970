// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_PATCH_PATCHTEST_H_
#define TESTS_UNIT_PATCH_PATCHTEST_H_

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "fakes/PlatformTest.h"
#include "fakes/Service.h"
#include "https/HttpsClient.h"
#include "patch/PatchMgr.h"

namespace cloudclient {

bool operator==(const ResourceUrlEntry& a, const ResourceUrlEntry& b);
bool operator==(const PointPatchEntry& a, const PointPatchEntry& b);
bool operator==(const DayAccumulator& a, const DayAccumulator& b);
std::ostream& operator<<(std::ostream& out, const ResourceUrlEntry& entry);
std::ostream& operator<<(std::ostream& out, const PointPatchEntry& entry);
std::ostream& operator<<(std::ostream& out, const DayAccumulator& day);

}  // namespace cloudclient

namespace patch_test {

// Where the map file lies on the appliance.
constexpr char kMapPath[] = "/var/local/orv/pldserver/0/1/covpatchmap.txt";

// Page that answers values by document name.
constexpr char kValuePage[] = "httpGetSet/httpGet.htm";

// Where point events go.
constexpr char kEvents[] =
    "/redfish/v1/Managers/6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11/Oem/Quorvan:Events";

// While one is alive, the C library's function fails.
struct FailingDumps {
  FailingDumps();
  ~FailingDumps();
};
struct FailingStrftime {
  FailingStrftime();
  ~FailingStrftime();
};

// A map file whose one resource "thermal" has these members beside its name, and whose group
// "thermal" has these elements.
std::string Map(const std::string& resourceMembers, const std::string& elements);
// An ordinary resource's members, and a point's: `members` beside its id and its template.
extern const char kThermal[];
std::string Point(const std::string& id, const std::string& members);

// A value buffer that begins with these two bytes and is ones besides.
typedef char CovValue[pld::kCovValueSize];
void SetReading(CovValue& value, uint8_t first, uint8_t second);

// An engine whose queries fail and leave the text "left" all the same.
class LeavingProxy : public fakes::PldProxy {
 public:
  int GetPointText(std::string& text, uint16_t, uint16_t, uint16_t, uint16_t, int32_t, int16_t,
                   int) override {
    text = "left";
    return 12;
  }
};

// A PatchMgr on the fakes, with a root folder of its own for map files and a service behind its
// transport.
class PatchTest : public fakes::PlatformTest {
 protected:
  void SetUp() override;
  void TearDown() override;

  // Writes the map file; writes and loads it.
  void Write(const std::string& text);
  int32_t Load(const std::string& text);
  // Loads a map file that is expected to be good, and forgets what was logged and asked.
  void Loaded(const std::string& text);

  // The patch manager's lines so far, "LEVEL TEXT".
  std::vector<std::string> Lines() const;
  // Queries of the value page so far.
  std::vector<std::string> DocumentsAsked() const;
  // Names of the pages asked so far.
  std::vector<std::string> PagesAsked() const;
  // The engine answers this document of the name with the value in double quotes.
  void HasDocument(const std::string& name, const std::string& value);

  static fakes::Platform& platform() { return fakes::platform(); }

  std::string rootFolder;
  fakes::Service service;
  cloudclient::HttpsClient client;
  cloudclient::PatchMgr patch;
};

}  // namespace patch_test

#endif  // TESTS_UNIT_PATCH_PATCHTEST_H_
