// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>

#include "HostTest.h"
#include "Scarcity.h"
#include "SystemCalls.h"
#include "host/config/ConfigKeys.h"
#include "host/config/ConfigWatch.h"
#include "host/util/Clock.h"
#include "host/util/Files.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr char kFolder[] = "/etc/cloudclient";
constexpr char kSysInfo[] = "/etc/cloudclient/sysinfo.json";

class ConfigWatchTest : public HostTest {
 protected:
  void Watch() {
    m_watch = std::make_unique<host::ConfigWatch>(
        In(kFolder), std::vector<host::ConfigStore*>{&m_cloud, &m_sysInfo});
    m_loop.Add(m_watch.get());
    m_loop.RunOnce(0);
  }

  host::ConfigStore m_cloud{In(kCloudFile), host::CloudKeys()};
  host::ConfigStore m_sysInfo{In(kSysInfo), host::SysInfoKeys()};
  host::EventLoop m_loop;
  std::unique_ptr<host::ConfigWatch> m_watch;
};

}  // namespace

TEST_F(ConfigWatchTest, Missing_folder_is_made) {
  Watch();
  EXPECT_TRUE(Exists(kFolder));
  EXPECT_EQ(Log(), "");
}

TEST_F(ConfigWatchTest, File_written_in_place_is_read) {
  Watch();
  Write(kSysInfo, R"({"SysName": "a"})");
  m_loop.RunOnce(-1);
  EXPECT_THAT(m_sysInfo.TakeChanges(), ElementsAre("SysName"));
  EXPECT_THAT(m_cloud.TakeChanges(), IsEmpty());
}

TEST_F(ConfigWatchTest, File_that_could_not_be_read_is_read_again) {
  Watch();
  int64_t nowUs = 1000000;
  g_monotonicUs = [&nowUs] { return nowUs += 2000000; };
  int failures = 0;
  for (bool failed = true; failed; failures += failed ? 1 : 0) {
    const std::string name = "name " + std::to_string(failures);
    Write(kSysInfo, R"({"SysName": ")" + name + "\"}");
    {
      const FailingJson memory(failures);
      m_loop.RunOnce(-1);
      failed = memory.Failed();
    }
    m_loop.RunOnce(0);
    EXPECT_EQ(m_sysInfo.Text(host::kSysName), name) << failures;
  }
  EXPECT_GT(failures, 3);
  g_monotonicUs = nullptr;
}

TEST_F(ConfigWatchTest, File_replaced_by_a_rename_is_read) {
  Watch();
  Replace(kCloudFile, R"({"Url": "a"})");
  Replace(kCloudFile, R"({"Url": "b"})");
  m_loop.RunOnce(-1);
  EXPECT_THAT(m_cloud.TakeChanges(), ElementsAre("Url"));
  EXPECT_EQ(m_cloud.Text(host::kUrl), "b");
}

TEST_F(ConfigWatchTest, What_a_link_names_is_watched_and_so_is_what_another_link_names) {
  Write("/data/cloud.json", "{}");
  Write("/other/cloud.json", "{}");
  ASSERT_FALSE(host::MakeFolders(In(kFolder)));
  std::filesystem::create_symlink(In("/data/cloud.json"), In(kCloudFile));
  Watch();
  host::ConfigStore ctl(In(kCloudFile), host::CloudKeys());
  EXPECT_FALSE(ctl.SetText(host::kUrl, "a"));
  ASSERT_TRUE(ctl.Save());
  m_loop.RunOnce(-1);
  EXPECT_THAT(m_cloud.TakeChanges(), ElementsAre("Url"));

  std::filesystem::create_symlink(In("/other/cloud.json"), In(kFolder) + "/new");
  std::filesystem::rename(In(kFolder) + "/new", In(kCloudFile));
  m_loop.RunOnce(-1);
  EXPECT_THAT(m_cloud.TakeChanges(), ElementsAre("Url"));
  EXPECT_FALSE(ctl.SetText(host::kUserEmail, "e"));
  ASSERT_TRUE(ctl.Save());
  EXPECT_EQ(Read("/other/cloud.json"), "{\n  \"UserEmail\": \"e\"\n}\n");
  m_loop.RunOnce(-1);
  EXPECT_THAT(m_cloud.TakeChanges(), ElementsAre("UserEmail"));
}

TEST_F(ConfigWatchTest, Own_saving_is_no_change) {
  Watch();
  EXPECT_FALSE(m_cloud.SetText(host::kUuid, "u"));
  ASSERT_TRUE(m_cloud.Save());
  m_loop.RunOnce(-1);
  EXPECT_THAT(m_cloud.TakeChanges(), IsEmpty());
}

TEST_F(ConfigWatchTest, Removed_file_leaves_the_values) {
  Write(kCloudFile, R"({"Url": "a"})");
  m_cloud.Reload();
  m_cloud.TakeChanges();
  Watch();
  std::filesystem::remove(In(kCloudFile));
  Replace(kSysInfo, R"({"SysName": "a"})");
  m_loop.RunOnce(-1);
  EXPECT_THAT(m_sysInfo.TakeChanges(), ElementsAre("SysName"));
  EXPECT_EQ(m_cloud.Text(host::kUrl), "a");
}

TEST_F(ConfigWatchTest, Unparsable_file_costs_one_message) {
  Watch();
  Write(kCloudFile, "{");
  m_loop.RunOnce(-1);
  Write(kCloudFile, "{");
  m_loop.RunOnce(-1);
  EXPECT_EQ(LogCount("is not valid JSON"), 1);
}

TEST_F(ConfigWatchTest, Folder_that_was_taken_away_is_made_and_watched_again) {
  Watch();
  std::filesystem::remove_all(In(kFolder));
  m_loop.RunOnce(-1);
  Write(kSysInfo, R"({"SysName": "new"})");
  m_loop.RunOnce(-1);
  EXPECT_EQ(LogCount("is watched"), 1);
  EXPECT_EQ(m_sysInfo.Text(host::kSysName), "new");
  Write(kSysInfo, R"({"SysName": "newer"})");
  m_loop.RunOnce(-1);
  EXPECT_EQ(m_sysInfo.Text(host::kSysName), "newer");
}

// Somebody who holds the old folder open keeps the system from telling that it is gone.
TEST_F(ConfigWatchTest, Folder_that_takes_the_place_of_another_is_watched) {
  Watch();
  const host::Fd held(open(In(kFolder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  std::filesystem::remove_all(In(kFolder));
  Write(kSysInfo, R"({"SysName": "a"})");
  m_loop.RunOnce(-1);
  EXPECT_EQ(m_sysInfo.Text(host::kSysName), "a");
  Write(kSysInfo, R"({"SysName": "b"})");
  m_loop.RunOnce(-1);
  EXPECT_EQ(m_sysInfo.Text(host::kSysName), "b");
  EXPECT_EQ(LogCount("is watched"), 1);
}

TEST_F(ConfigWatchTest, What_else_appears_beside_the_folder_changes_nothing) {
  Watch();
  Write("/etc/sysinfo.json", R"({"SysName": "a"})");
  Write("/etc/other/sysinfo.json", R"({"SysName": "a"})");
  m_loop.RunOnce(-1);
  EXPECT_EQ(LogCount("is watched"), 0);
  Write(kSysInfo, R"({"SysName": "b"})");
  m_loop.RunOnce(-1);
  EXPECT_THAT(m_sysInfo.TakeChanges(), ElementsAre("SysName"));
}

TEST_F(ConfigWatchTest, File_that_was_written_before_the_first_watch_is_read) {
  Write(kCloudFile, R"({"Url": "a"})");
  Watch();
  EXPECT_EQ(m_cloud.Text(host::kUrl), "a");
  EXPECT_THAT(m_cloud.TakeChanges(), ElementsAre("Url"));
}

TEST_F(ConfigWatchTest, Folder_that_was_renamed_is_made_and_watched_again) {
  Watch();
  std::filesystem::rename(In(kFolder), In("/etc/old"));
  m_loop.RunOnce(-1);
  m_loop.RunOnce(-1);
  EXPECT_EQ(LogCount("is watched"), 1);
  Write(kSysInfo, R"({"SysName": "a"})");
  m_loop.RunOnce(-1);
  EXPECT_EQ(m_sysInfo.Text(host::kSysName), "a");
}

TEST_F(ConfigWatchTest, Folder_that_cannot_be_made_is_looked_for_once_a_second) {
  Write("/etc", "a file");
  Watch();
  EXPECT_EQ(LogCount("is not watched yet: Not a directory"), 1);
  const int64_t then = host::MonotonicMs() + 1000000;
  const host::Wait wait;
  m_watch->Serve(wait, then);
  std::filesystem::remove(In("/etc"));
  Write(kSysInfo, R"({"SysName": "a"})");
  m_watch->Serve(wait, then + 999);
  EXPECT_EQ(m_sysInfo.Text(host::kSysName), "");
  m_watch->Serve(wait, then + 1000);
  EXPECT_EQ(m_sysInfo.Text(host::kSysName), "a");
  EXPECT_EQ(LogCount("is not watched yet"), 1);
}

TEST_F(ConfigWatchTest, All_files_are_read_when_asked) {
  Watch();
  Write(kCloudFile, R"({"Url": "a"})");
  Write(kSysInfo, R"({"SysName": "a"})");
  m_watch->ReloadAll();
  EXPECT_THAT(m_cloud.TakeChanges(), ElementsAre("Url"));
  EXPECT_THAT(m_sysInfo.TakeChanges(), ElementsAre("SysName"));
}
