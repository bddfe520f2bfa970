// SPDX-License-Identifier: Apache-2.0
// Where the device's data files lie.
#include <dirent.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "CoreTest.h"
#include "base/Policy.h"
#include "platform/util/LocalPath.h"

namespace {

std::vector<std::string> g_opened;
int g_openFolders = 0;

}  // namespace

extern "C" {
DIR* __real_opendir(const char* name);
int __real_closedir(DIR* dir);
DIR* __wrap_opendir(const char* name);
int __wrap_closedir(DIR* dir);
}

DIR* __wrap_opendir(const char* name) {
  g_opened.emplace_back(name);
  DIR* const dir = __real_opendir(name);
  if (dir != nullptr) ++g_openFolders;
  return dir;
}

int __wrap_closedir(DIR* dir) {
  --g_openFolders;
  return __real_closedir(dir);
}

namespace device_core {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char kBase[] = "/var/local/orv/pldserver/0";

class FindPathTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    std::string name = (std::filesystem::temp_directory_path() / "find_path_XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    platform.root = name;
  }
  void TearDown() override {
    if (!platform.root.empty()) std::filesystem::remove_all(platform.root);
  }

  // Paths of the appliance.
  static void MakeFolder(const std::string& path) {
    std::filesystem::create_directories(fakes::platform().root + path);
  }
  static void MakeFile(const std::string& path) {
    MakeFolder(path.substr(0, path.rfind('/')));
    std::ofstream(LocalPath(path)) << "{}";
  }

  // The folders looked into, as the appliance names them.
  std::vector<std::string> Opened() const {
    std::vector<std::string> folders;
    for (const std::string& name : g_opened) {
      const bool inside = name.compare(0, platform.root.size(), platform.root) == 0;
      folders.push_back(inside ? name.substr(platform.root.size()) : "outside:" + name);
    }
    return folders;
  }

  int32_t Find(const std::string& fileName = "covpatchmap.txt") {
    return mgr->FindPath(5, path, fileName);
  }

  std::string path = "as it was";
};

TEST_F(FindPathTest, In_the_folder_of_the_sequence_itself) {
  MakeFile(std::string(kBase) + "/1/2/3/covpatchmap.txt");
  MakeFile(std::string(kBase) + "/1/2/covpatchmap.txt");
  EXPECT_EQ(Find(), 1);
  EXPECT_EQ(path, std::string(kBase) + "/1/2/3/covpatchmap.txt");
  EXPECT_THAT(Opened(), ElementsAre(std::string(kBase) + "/1/2/3"));
  EXPECT_EQ(g_openFolders, 0);
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(FindPathTest, In_the_parent_of_the_folder_where_it_starts) {
  MakeFolder(std::string(kBase) + "/1/2/3");
  MakeFile(std::string(kBase) + "/1/2/covpatchmap.txt");
  EXPECT_EQ(Find(), 1);
  EXPECT_EQ(path, std::string(kBase) + "/1/2/covpatchmap.txt");
  EXPECT_THAT(Opened(), ElementsAre(std::string(kBase) + "/1/2/3", std::string(kBase) + "/1/2"));
  EXPECT_EQ(g_openFolders, 0);
}

TEST_F(FindPathTest, Above_folders_that_are_not_there) {
  MakeFile(std::string(kBase) + "/1/covpatchmap.txt");
  EXPECT_EQ(Find(), 1);
  EXPECT_EQ(path, std::string(kBase) + "/1/covpatchmap.txt");
}

TEST_F(FindPathTest, In_the_base_folder_and_above_it) {
  MakeFile("/var/local/covpatchmap.txt");
  EXPECT_EQ(Find(), 1);
  EXPECT_EQ(path, "/var/local/covpatchmap.txt");
  MakeFile(std::string(kBase) + "/covpatchmap.txt");
  EXPECT_EQ(Find(), 1);
  EXPECT_EQ(path, "/var/local/orv/pldserver/0/covpatchmap.txt");
}

TEST_F(FindPathTest, By_the_exact_name_only) {
  MakeFile(std::string(kBase) + "/1/2/3/CovPatchMap.txt");
  MakeFile(std::string(kBase) + "/1/2/3/covpatchmap.txt.old");
  MakeFile(std::string(kBase) + "/1/2/3/covpatchmap.tx");
  MakeFile(std::string(kBase) + "/1/2/3/xcovpatchmap.txt");
  MakeFile(std::string(kBase) + "/1/2/covpatchmap.txt");
  EXPECT_EQ(Find(), 1);
  EXPECT_EQ(path, std::string(kBase) + "/1/2/covpatchmap.txt");
}

TEST_F(FindPathTest, Whatever_kind_of_entry_has_the_name) {
  MakeFolder(std::string(kBase) + "/1/2/3/covpatchmap.txt");
  EXPECT_EQ(Find(), 1);
  EXPECT_EQ(path, std::string(kBase) + "/1/2/3/covpatchmap.txt");
}

TEST_F(FindPathTest, Of_any_file) {
  MakeFile(std::string(kBase) + "/1/cloudchassis.txt");
  EXPECT_EQ(Find("cloudchassis.txt"), 1);
  EXPECT_EQ(path, std::string(kBase) + "/1/cloudchassis.txt");
}

TEST_F(FindPathTest, By_a_sequence_of_one_number) {
  engine.identity.text = "42";
  MakeFile(std::string(kBase) + "/42/covpatchmap.txt");
  EXPECT_EQ(Find(), 1);
  EXPECT_EQ(path, std::string(kBase) + "/42/covpatchmap.txt");
}

TEST_F(FindPathTest, By_every_full_stop_as_a_slash) {
  engine.identity.text = "10.20.30.40.50";
  MakeFile(std::string(kBase) + "/10/20/30/40/50/covpatchmap.txt");
  EXPECT_EQ(Find(), 1);
  EXPECT_EQ(path, std::string(kBase) + "/10/20/30/40/50/covpatchmap.txt");
}

TEST_F(FindPathTest, Asks_with_16_bits_of_the_device) {
  MakeFile(std::string(kBase) + "/1/covpatchmap.txt");
  mgr->FindPath(0x10007, path, "covpatchmap.txt");
  EXPECT_THAT(engine.psiAsked, ElementsAre(7));
}

// With Search.EndAtBase.
class BoundedFindPathTest : public FindPathTest {
 protected:
  void SetUp() override {
    FindPathTest::SetUp();
    cloudclient::Policy policy;
    policy.search.endAtBase = true;
    cloudclient::UsePolicy(policy);
  }
  void TearDown() override {
    cloudclient::UsePolicy({});
    FindPathTest::TearDown();
  }
};

TEST_F(BoundedFindPathTest, Of_a_file_that_is_nowhere_ends_with_the_base_folder) {
  MakeFile("/var/local/orv/pldserver/covpatchmap.txt");
  EXPECT_EQ(Find(), 0);
  EXPECT_EQ(path, "as it was");
  EXPECT_THAT(Opened(), ElementsAre(std::string(kBase) + "/1/2/3", std::string(kBase) + "/1/2",
                                    std::string(kBase) + "/1", kBase));
  EXPECT_THAT(platform.sleeps.microseconds, IsEmpty());
  EXPECT_THAT(Lines(),
              ElementsAre("3 FindPath: Failed to find covpatchmap.txt of the device 1.2.3"));
}

TEST_F(BoundedFindPathTest, Finds_a_file_up_to_the_base_folder) {
  MakeFile(std::string(kBase) + "/covpatchmap.txt");
  EXPECT_EQ(Find(), 1);
  EXPECT_EQ(path, "/var/local/orv/pldserver/0/covpatchmap.txt");
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(BoundedFindPathTest, Ends_whatever_the_sequence_is) {
  for (const char* sequence : {"", ".", "..", "1..2", ".1", "1.", "x", "1/2"}) {
    engine.identity.text = sequence;
    EXPECT_EQ(Find(), 0) << sequence;
  }
}

TEST_F(FindPathTest, An_empty_sequence_finds_nothing_at_once) {
  engine.identity.text = "";
  MakeFile(std::string(kBase) + "/covpatchmap.txt");
  EXPECT_EQ(Find(), 0);
  EXPECT_EQ(path, "as it was");
  EXPECT_THAT(Opened(), IsEmpty());
  EXPECT_THAT(platform.sleeps.microseconds, IsEmpty());
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(FindPathTest, A_lone_full_stop_comes_upon_the_base_and_ends) {
  engine.identity.text = ".";
  EXPECT_EQ(Find(), 0);
  EXPECT_THAT(Opened(), ElementsAre(std::string(kBase) + "//"));
}

TEST_F(FindPathTest, A_sequence_that_begins_with_a_full_stop_comes_upon_the_base_and_ends) {
  engine.identity.text = ".1.2";
  MakeFile(std::string(kBase) + "/covpatchmap.txt");
  EXPECT_EQ(Find(), 0);
  EXPECT_EQ(path, "as it was");
  EXPECT_THAT(Opened(), ElementsAre(std::string(kBase) + "//1/2", std::string(kBase) + "//1"));
  MakeFile(std::string(kBase) + "/1/covpatchmap.txt");
  EXPECT_EQ(Find(), 1);
  EXPECT_EQ(path, std::string(kBase) + "//1/covpatchmap.txt");
}

TEST_F(FindPathTest, An_unknown_sequence_finds_nothing) {
  engine.knowsPsi = false;
  EXPECT_EQ(Find(), 0);
  EXPECT_EQ(path, "as it was");
  EXPECT_THAT(Opened(), IsEmpty());
  EXPECT_THAT(Lines(), ElementsAre("3 FindPath: Failed to get the product sequence id"));
}

TEST_F(FindPathTest, Without_a_proxy_finds_nothing) {
  mgr->SetPldProxy(nullptr);
  EXPECT_EQ(Find(), 0);
  EXPECT_EQ(path, "as it was");
  EXPECT_THAT(Lines(), ElementsAre("3 FindPath: Failed to get the product sequence id"));
}

// In a child that ends itself in its 50th sleep. The file comes while it sleeps, in the folder
// where the search began, and in the root, whose own text is never on the way.
TEST_F(FindPathTest, Of_a_file_that_is_nowhere_never_ends) {
  MakeFile("/covpatchmap.txt");
  const auto search = [this] {
    alarm(30);
    platform.sleeps.hook = [this](uint64_t microseconds) {
      const size_t sleeps = platform.sleeps.microseconds.size();
      if (microseconds > 1000000) _exit(2);
      if (sleeps == 1) MakeFile(std::string(kBase) + "/1/2/3/covpatchmap.txt");
      if (sleeps < 50) return;
      std::string walk;
      for (size_t i = 0; i < 9; ++i) walk += Opened().at(i) + " ";
      for (size_t i = 9; i < g_opened.size(); ++i) {
        if (!g_opened[i].empty()) _exit(3);
      }
      fprintf(stderr, "walked %s\n", walk.c_str());
      _exit(77);
    };
    Find();
    _exit(4);
  };
  EXPECT_EXIT(search(), testing::ExitedWithCode(77),
              "walked /var/local/orv/pldserver/0/1/2/3 /var/local/orv/pldserver/0/1/2 "
              "/var/local/orv/pldserver/0/1 /var/local/orv/pldserver/0 /var/local/orv/pldserver "
              "/var/local/orv /var/local /var outside: \n");
}

class DataPathsTest : public FindPathTest {};

TEST_F(DataPathsTest, Load_the_map_then_the_history_then_seed_the_day) {
  MakeFile(std::string(kBase) + "/1/2/covpatchmap.txt");
  Engine other;
  patch().proxy = &other;
  mgr->InitDeviceDataPaths(5, &other);
  EXPECT_THAT(
      patch().calls,
      ElementsAre("InitCovPatchMaps(/var/local/orv/pldserver/0/1/2/covpatchmap.txt)",
                  "InitIdHistoryValues(5, https)", "NewDaySyncAccumulators(5, https, proxy)"));
  EXPECT_THAT(engine.psiAsked, ElementsAre(5));
  EXPECT_THAT(other.psiAsked, IsEmpty());
}

TEST_F(DataPathsTest, Go_on_with_a_bad_map) {
  MakeFile(std::string(kBase) + "/1/2/covpatchmap.txt");
  patch().initStatus = 2;
  mgr->InitDeviceDataPaths(5, &engine);
  EXPECT_THAT(patch().calls, SizeIs(3));
}

TEST_F(DataPathsTest, Seed_the_day_without_a_map) {
  engine.knowsPsi = false;
  mgr->InitDeviceDataPaths(5, &engine);
  EXPECT_THAT(patch().calls, ElementsAre("NewDaySyncAccumulators(5, https, proxy)"));
  EXPECT_THAT(Lines(), ElementsAre("3 FindPath: Failed to get the product sequence id"));
}

TEST_F(DataPathsTest, Seed_the_day_with_an_empty_sequence) {
  engine.identity.text = "";
  mgr->InitDeviceDataPaths(5, nullptr);
  EXPECT_THAT(patch().calls, ElementsAre("NewDaySyncAccumulators(5, https, null)"));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(DataPathsTest, Are_looked_for_again_at_every_call) {
  MakeFile(std::string(kBase) + "/1/2/covpatchmap.txt");
  mgr->InitDeviceDataPaths(5, &engine);
  MakeFile(std::string(kBase) + "/1/2/3/covpatchmap.txt");
  mgr->InitDeviceDataPaths(5, &engine);
  EXPECT_THAT(patch().calls, SizeIs(6));
  EXPECT_EQ(patch().calls[3], "InitCovPatchMaps(/var/local/orv/pldserver/0/1/2/3/covpatchmap.txt)");
}

}  // namespace device_core
