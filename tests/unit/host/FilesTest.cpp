// SPDX-License-Identifier: Apache-2.0
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>

#include "HostTest.h"
#include "SystemCalls.h"
#include "host/util/Files.h"

using FilesTest = HostTest;

namespace {

struct stat StatusOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status;
}

mode_t ModeOf(const std::string& path) { return StatusOf(path).st_mode & 07777; }

// Replaces the file by one like it, and expects that nothing was left out. The errno.
int ReplaceWhole(const std::string& path, const std::string& text) {
  host::Problem warning("before");
  const host::Problem problem = host::ReplaceFile(path, host::OwnershipOf(path), text, warning);
  EXPECT_EQ(warning.Text(), "");
  return problem.Errno();
}

}  // namespace

TEST_F(FilesTest, Replaced_file_is_whole_and_keeps_its_mode) {
  Write("/f/a", "old and longer");
  ASSERT_EQ(chmod(In("/f/a").c_str(), 0640), 0);
  ASSERT_EQ(ReplaceWhole(In("/f/a"), "new"), 0);
  EXPECT_EQ(Read("/f/a"), "new");
  EXPECT_EQ(ModeOf(In("/f/a")), 0640u);
  EXPECT_THAT(Files("/f"), testing::ElementsAre("a"));
}

TEST_F(FilesTest, New_file_is_for_its_owner_only) {
  ASSERT_FALSE(host::MakeFolders(In("/f")));
  ASSERT_EQ(ReplaceWhole(In("/f/a"), "new"), 0);
  EXPECT_EQ(ModeOf(In("/f/a")), 0600u);
}

TEST_F(FilesTest, Group_that_cannot_be_kept_has_no_rights) {
  // Without root the other user is this one, who keeps both.
  const bool isOther = geteuid() == 0;
  Write("/f/a", "old");
  ASSERT_EQ(chmod(In("/f/a").c_str(), 0644), 0);
  for (const char* path : {"", "/f"}) ASSERT_EQ(chmod(In(path).c_str(), 0777), 0);
  const Child child = RunAsOther([&] {
    host::Problem warning;
    const std::string path = In("/f/a");
    const host::Problem problem = host::ReplaceFile(path, host::OwnershipOf(path), "new", warning);
    const char* const expected = isOther ? "its owner or group could not be kept" : "";
    return !problem && warning.Text() == expected ? 0 : 1;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(Read("/f/a"), "new");
  EXPECT_EQ(ModeOf(In("/f/a")), isOther ? 0604u : 0644u);
}

TEST_F(FilesTest, Replacing_in_a_missing_folder_fails) {
  EXPECT_EQ(ReplaceWhole(In("/none/a"), "new"), ENOENT);
}

TEST_F(FilesTest, File_that_cannot_be_synced_is_not_put_in_place) {
  Write("/f/a", "old");
  g_fsync = [](int) { return EIO; };
  EXPECT_EQ(ReplaceWhole(In("/f/a"), "new"), EIO);
  EXPECT_EQ(Read("/f/a"), "old");
  EXPECT_THAT(Files("/f"), testing::ElementsAre("a"));
}

TEST_F(FilesTest, Folder_that_cannot_be_synced_is_a_warning) {
  Write("/f/a", "old");
  int calls = 0;
  g_fsync = [&calls](int) { return ++calls == 1 ? 0 : EIO; };
  host::Problem warning;
  EXPECT_FALSE(host::ReplaceFile(In("/f/a"), host::OwnershipOf(In("/f/a")), "new", warning));
  EXPECT_EQ(warning.Text(), "its folder could not be synced: Input/output error");
  EXPECT_EQ(Read("/f/a"), "new");
}

TEST_F(FilesTest, Folder_of_a_file_system_without_syncing_is_none) {
  Write("/f/a", "old");
  int calls = 0;
  g_fsync = [&calls](int) { return ++calls == 1 ? 0 : EINVAL; };
  EXPECT_EQ(ReplaceWhole(In("/f/a"), "new"), 0);
  EXPECT_EQ(calls, 2);
}

TEST_F(FilesTest, Full_disk_leaves_the_old_file_and_nothing_beside_it) {
  Write("/f/a", "old");
  const Child child = Run([this] {
    signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit = {10, 10};
    setrlimit(RLIMIT_FSIZE, &limit);
    return ReplaceWhole(In("/f/a"), std::string(1000, 'x')) == EFBIG ? 0 : 1;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(Read("/f/a"), "old");
  EXPECT_THAT(Files("/f"), testing::ElementsAre("a"));
}

TEST_F(FilesTest, Failed_rename_leaves_nothing_beside_it) {
  ASSERT_FALSE(host::MakeFolders(In("/f/a")));  // a folder where the file should go
  EXPECT_NE(ReplaceWhole(In("/f/a"), "new"), 0);
  EXPECT_THAT(Files("/f"), testing::ElementsAre("a"));
}

TEST_F(FilesTest, Temporaries_of_a_killed_replacing_are_swept_and_nothing_else) {
  Write("/f/a", "old");
  const Child child = Run([this] {
    g_fsync = [](int) { return raise(SIGKILL); };
    return ReplaceWhole(In("/f/a"), "new");
  });
  EXPECT_EQ(child.Wait(), 128 + SIGKILL);
  EXPECT_EQ(Files("/f").size(), 2u);
  Write("/f/.a.new", "a person's");
  Write("/f/.a.backup", "a person's");
  Write("/f/.ab.new.abcdef", "another file's");
  host::RemoveTemporaries(In("/f/a"));
  EXPECT_THAT(Files("/f"), testing::ElementsAre(".a.backup", ".a.new", ".ab.new.abcdef", "a"));
}

TEST_F(FilesTest, Links_are_followed_to_their_end) {
  ASSERT_FALSE(host::MakeFolders(In("/f")));
  ASSERT_EQ(symlink("../g/b", In("/f/a").c_str()), 0);
  ASSERT_FALSE(host::MakeFolders(In("/g")));
  ASSERT_EQ(symlink(In("/h/c").c_str(), In("/g/b").c_str()), 0);
  std::string path = In("/f/a");
  EXPECT_FALSE(host::FollowLinks(path));
  EXPECT_EQ(path, In("/h/c"));
  MakeUnreadable("/loop");
  path = In("/loop");
  EXPECT_EQ(host::FollowLinks(path).Errno(), ELOOP);
}

TEST_F(FilesTest, Reading_tells_what_is_wrong) {
  std::string text = "before";
  EXPECT_EQ(host::ReadFile(In("/none"), 100, text).Errno(), ENOENT);
  EXPECT_EQ(host::ReadFile(Root(), 100, text).Errno(), EISDIR);
  MakeUnreadable("/loop");
  EXPECT_EQ(host::ReadFile(In("/loop"), 100, text).Errno(), ELOOP);
  Write("/a", std::string(101, 'x'));
  EXPECT_EQ(host::ReadFile(In("/a"), 100, text).Errno(), EFBIG);
  EXPECT_FALSE(host::ReadFile(In("/a"), 101, text));
  EXPECT_EQ(text, std::string(101, 'x'));
}

TEST_F(FilesTest, Reading_a_pipe_without_a_writer_does_not_wait) {
  ASSERT_EQ(mkfifo(In("/pipe").c_str(), 0600), 0);
  std::string text;
  EXPECT_FALSE(host::ReadFile(In("/pipe"), 100, text));
  EXPECT_EQ(text, "");
}

TEST_F(FilesTest, Folders_are_made_down_to_the_last) {
  EXPECT_FALSE(host::MakeFolders(In("/a/b/c")));
  EXPECT_FALSE(host::MakeFolders(In("/a/b/c")));
  EXPECT_TRUE(Exists("/a/b/c"));
  Write("/a/file", "");
  EXPECT_EQ(host::MakeFolders(In("/a/file")).Errno(), ENOTDIR);
  EXPECT_EQ(host::MakeFolders(In("/a/file/b")).Errno(), ENOTDIR);
}

TEST_F(FilesTest, Folder_of_a_path) {
  EXPECT_EQ(host::FolderOf("/a/b"), "/a");
  EXPECT_EQ(host::FolderOf("/a"), "/");
  EXPECT_EQ(host::FolderOf("a"), ".");
}

TEST_F(FilesTest, Lock_is_held_once) {
  const host::Ownership mine = host::OwnershipOf(In("/lock"));
  host::FileLock first(In("/lock"), 0, mine);
  EXPECT_FALSE(first.Failure());
  EXPECT_EQ(host::FileLock(In("/lock"), 0, mine).Failure().Errno(), ETIMEDOUT);
  EXPECT_EQ(host::FileLock(In("/none/lock"), 0, mine).Failure().Errno(), ENOENT);
}

TEST_F(FilesTest, Lock_is_free_again_afterwards) {
  const host::Ownership mine = host::OwnershipOf(In("/lock"));
  { host::FileLock first(In("/lock"), 0, mine); }
  EXPECT_EQ(host::FileLock(In("/lock"), 0, mine).Failure().Errno(), 0);
}

TEST_F(FilesTest, Lock_lets_in_whom_the_file_lets_in) {
  Write("/a", "");
  ASSERT_EQ(chmod(In("/a").c_str(), 0640), 0);
  { host::FileLock first(In("/lock"), 0, host::OwnershipOf(In("/a"))); }
  EXPECT_EQ(ModeOf(In("/lock")), 0640u);
}

TEST_F(FilesTest, Lock_is_no_link) {
  Write("/a", "");
  ASSERT_EQ(symlink(In("/a").c_str(), In("/lock").c_str()), 0);
  EXPECT_EQ(host::FileLock(In("/lock"), 0, host::OwnershipOf(In("/a"))).Failure().Errno(), ELOOP);
}
