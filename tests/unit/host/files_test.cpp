#include "host/Files.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>

#include "HostTest.h"

using FilesTest = HostTest;

TEST_F(FilesTest, Replaced_file_is_whole_and_for_its_owner_only) {
  Write("/f/a", "old and longer");
  ASSERT_EQ(host::ReplaceFile(In("/f/a"), "new"), 0);
  EXPECT_EQ(Read("/f/a"), "new");
  struct stat status = {};
  ASSERT_EQ(stat(In("/f/a").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600u);
  EXPECT_THAT(Files("/f"), testing::ElementsAre("a"));
}

TEST_F(FilesTest, Replacing_in_a_missing_folder_fails) {
  EXPECT_EQ(host::ReplaceFile(In("/none/a"), "new"), ENOENT);
}

TEST_F(FilesTest, Full_disk_leaves_the_old_file_and_nothing_beside_it) {
  Write("/f/a", "old");
  const Child child = Run([this] {
    signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit = {10, 10};
    setrlimit(RLIMIT_FSIZE, &limit);
    return host::ReplaceFile(In("/f/a"), std::string(1000, 'x')) == EFBIG ? 0 : 1;
  });
  EXPECT_EQ(child.Wait(), 0);
  EXPECT_EQ(Read("/f/a"), "old");
  EXPECT_THAT(Files("/f"), testing::ElementsAre("a"));
}

TEST_F(FilesTest, Failed_rename_leaves_nothing_beside_it) {
  ASSERT_EQ(host::MakeFolders(In("/f/a")), 0);  // a folder where the file should go
  EXPECT_NE(host::ReplaceFile(In("/f/a"), "new"), 0);
  EXPECT_THAT(Files("/f"), testing::ElementsAre("a"));
}

TEST_F(FilesTest, Reading_tells_what_is_wrong) {
  std::string text = "before";
  EXPECT_EQ(host::ReadFile(In("/none"), 100, text), ENOENT);
  EXPECT_EQ(host::ReadFile(Root(), 100, text), EISDIR);
  MakeUnreadable("/loop");
  EXPECT_EQ(host::ReadFile(In("/loop"), 100, text), ELOOP);
  Write("/a", std::string(101, 'x'));
  EXPECT_EQ(host::ReadFile(In("/a"), 100, text), EFBIG);
  EXPECT_EQ(host::ReadFile(In("/a"), 101, text), 0);
  EXPECT_EQ(text, std::string(101, 'x'));
}

TEST_F(FilesTest, Reading_a_pipe_without_a_writer_does_not_wait) {
  ASSERT_EQ(mkfifo(In("/pipe").c_str(), 0600), 0);
  std::string text;
  EXPECT_EQ(host::ReadFile(In("/pipe"), 100, text), 0);
  EXPECT_EQ(text, "");
}

TEST_F(FilesTest, Folders_are_made_down_to_the_last) {
  EXPECT_EQ(host::MakeFolders(In("/a/b/c")), 0);
  EXPECT_EQ(host::MakeFolders(In("/a/b/c")), 0);
  EXPECT_TRUE(Exists("/a/b/c"));
  Write("/a/file", "");
  EXPECT_EQ(host::MakeFolders(In("/a/file")), ENOTDIR);
  EXPECT_EQ(host::MakeFolders(In("/a/file/b")), ENOTDIR);
}

TEST_F(FilesTest, Folder_of_a_path) {
  EXPECT_EQ(host::FolderOf("/a/b"), "/a");
  EXPECT_EQ(host::FolderOf("/a"), "/");
  EXPECT_EQ(host::FolderOf("a"), ".");
}

TEST_F(FilesTest, Lock_is_held_once) {
  host::FileLock first(In("/lock"), 0);
  EXPECT_EQ(first.Status(), 0);
  EXPECT_EQ(host::FileLock(In("/lock"), 0).Status(), ETIMEDOUT);
  EXPECT_EQ(host::FileLock(In("/none/lock"), 0).Status(), ENOENT);
}

TEST_F(FilesTest, Lock_is_free_again_afterwards) {
  { host::FileLock first(In("/lock"), 0); }
  EXPECT_EQ(host::FileLock(In("/lock"), 0).Status(), 0);
}
