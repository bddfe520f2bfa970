// SPDX-License-Identifier: Apache-2.0
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <memory>

#include "OutboxTest.h"

namespace {

// The system call that fails: with EIO, and `write` once, with EINTR.
const char* g_failing = nullptr;

bool Fails(const char* name) { return g_failing != nullptr && std::strcmp(g_failing, name) == 0; }

}  // namespace

extern "C" {
int __real_fdatasync(int fd);
int __real_fsync(int fd);
ssize_t __real_write(int fd, const void* bytes, size_t size);
int __wrap_fdatasync(int fd);
int __wrap_fsync(int fd);
ssize_t __wrap_write(int fd, const void* bytes, size_t size);

int __wrap_fdatasync(int fd) {
  if (!Fails("fdatasync")) return __real_fdatasync(fd);
  errno = EIO;
  return -1;
}

int __wrap_fsync(int fd) {
  if (!Fails("fsync")) return __real_fsync(fd);
  errno = EIO;
  return -1;
}

ssize_t __wrap_write(int fd, const void* bytes, size_t size) {
  if (!Fails("write")) return __real_write(fd, bytes, size);
  g_failing = nullptr;
  errno = EINTR;
  return -1;
}
}

namespace unit {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class OutboxFilesTest : public OutboxFolderTest {
 protected:
  OutboxFilesTest() { Reopen(); }

  // As a new process: what the old one holds is let go first.
  void Reopen(uint64_t maxBytes = kMaxBytes) {
    files.reset();
    files = std::make_unique<OutboxFiles>(Folder(), maxBytes);
    EXPECT_EQ(files->Open(), "");
  }

  static OutboxRecord Entry(const std::string& key, size_t size = 10) {
    return {17, key, "", "17", std::string(size, 'x')};
  }
  // Puts an entry; how many gave way.
  size_t Put(const std::string& key, size_t size = 10) {
    size_t dropped = 0;
    EXPECT_EQ(files->Append(Entry(key, size), dropped), "");
    return dropped;
  }
  // The key of the oldest; "" without one.
  std::string Oldest() {
    OutboxRecord record;
    size_t dropped = 0;
    std::string problem;
    const bool found = files->Front(record, number, dropped, problem);
    EXPECT_EQ(dropped, 0u);
    EXPECT_EQ(problem, "");
    return found ? record.key : "";
  }
  // Takes everything out, in order.
  std::vector<std::string> TakeAll() {
    std::vector<std::string> keys;
    for (std::string key = Oldest(); !key.empty(); key = Oldest()) {
      keys.push_back(key);
      files->Remove(number);
    }
    return keys;
  }

  std::unique_ptr<OutboxFiles> files;
  uint64_t number = 0;  // of the oldest
};

TEST_F(OutboxFilesTest, Gives_out_in_the_order_of_putting) {
  for (const char* const key : {"a", "b", "c"}) EXPECT_EQ(Put(key), 0u);
  EXPECT_EQ(files->Count(), 3u);
  EXPECT_EQ(Oldest(), "a");
  EXPECT_EQ(Oldest(), "a");
  EXPECT_THAT(TakeAll(), ElementsAre("a", "b", "c"));
  EXPECT_EQ(files->Count(), 0u);
}

TEST_F(OutboxFilesTest, Holds_over_the_end_of_a_process_what_is_not_done) {
  for (const char* const key : {"a", "b", "c"}) Put(key);
  EXPECT_EQ(Oldest(), "a");
  files->Remove(number);
  Reopen();
  EXPECT_EQ(files->Count(), 2u);
  EXPECT_EQ(files->SkippedBytes(), 0u);
  Put("d");
  EXPECT_THAT(TakeAll(), ElementsAre("b", "c", "d"));
  Reopen();
  EXPECT_THAT(TakeAll(), IsEmpty());
}

TEST_F(OutboxFilesTest, Is_made_for_its_owner_alone) {
  Put("a");
  struct stat status = {};
  ASSERT_EQ(stat(Folder().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
  ASSERT_EQ(stat(FileNamed("00000001.outbox").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(OutboxFilesTest, A_file_goes_when_everything_in_it_is_done_and_no_more_is_put_there) {
  Put("a", kMaxBytes / 64);
  Put("b", kMaxBytes / 64);
  EXPECT_THAT(Names(), ElementsAre("00000001.outbox", "00000002.outbox"));
  EXPECT_EQ(Oldest(), "a");
  files->Remove(number);
  EXPECT_THAT(Names(), ElementsAre("00000002.outbox"));
  EXPECT_EQ(Oldest(), "b");
  files->Remove(number);
  EXPECT_THAT(Names(), ElementsAre("00000002.outbox"));
  Put("c");
  EXPECT_THAT(Names(), ElementsAre("00000003.outbox"));
  Reopen();
  EXPECT_THAT(TakeAll(), ElementsAre("c"));
  EXPECT_THAT(Names(), IsEmpty());
}

TEST_F(OutboxFilesTest, Many_small_ones_share_a_file) {
  for (int i = 0; i < 100; ++i) Put("k" + std::to_string(i));
  EXPECT_THAT(Names(), SizeIs(testing::Lt(10)));
  EXPECT_THAT(TakeAll(), SizeIs(100));
}

TEST_F(OutboxFilesTest, The_oldest_give_way_and_the_disk_is_never_used_beyond_the_limit) {
  size_t dropped = 0;
  for (int i = 0; i < 500; ++i) {
    dropped += Put("k" + std::to_string(i), 300);
    ASSERT_LE(BytesOnDisk(), kMaxBytes) << i;
  }
  EXPECT_GT(dropped, 200u);
  EXPECT_EQ(files->Count() + dropped, 500u);
  EXPECT_EQ(Oldest(), "k" + std::to_string(dropped));
  // No more gave way than a file or two hold.
  EXPECT_GT(BytesOnDisk(), kMaxBytes - kMaxBytes / 16);
  Reopen();
  const std::vector<std::string> keys = TakeAll();
  ASSERT_THAT(keys, SizeIs(500 - dropped));
  for (size_t i = 0; i < keys.size(); ++i) EXPECT_EQ(keys[i], "k" + std::to_string(dropped + i));
}

TEST_F(OutboxFilesTest, One_that_takes_half_the_room_is_refused_and_nothing_gives_way) {
  Put("a");
  size_t dropped = 0;
  EXPECT_EQ(files->Append(Entry("b", kMaxBytes / 2), dropped),
            "an entry of " + std::to_string(kMaxBytes / 2 + 29) + " bytes");
  EXPECT_EQ(dropped, 0u);
  for (int i = 0; i < 10; ++i) {
    Put("big", kMaxBytes / 2 - 100);
    EXPECT_LE(BytesOnDisk(), kMaxBytes);
  }
}

TEST_F(OutboxFilesTest, Torn_at_any_byte_loses_only_the_entry_that_is_torn) {
  Put("a");
  const size_t first = Text(FileNamed("00000001.outbox")).size();
  Put("b");
  const std::string whole = Text(FileNamed("00000001.outbox"));
  for (size_t size = 0; size <= whole.size(); ++size) {
    files.reset();
    std::filesystem::remove_all(Folder());
    Write(FileNamed("00000001.outbox"), whole.substr(0, size));
    Reopen();
    const size_t kept = (size >= first ? 1 : 0) + (size == whole.size() ? 1 : 0);
    EXPECT_EQ(files->Count(), kept) << size;
    EXPECT_EQ(files->SkippedBytes(), size - (kept == 0 ? 0 : kept == 1 ? first : size)) << size;
    Put("c");
    EXPECT_THAT(TakeAll(), SizeIs(kept + 1)) << size;
  }
}

TEST_F(OutboxFilesTest, Damage_costs_what_it_has_damaged) {
  for (const char* const key : {"a", "b", "c"}) Put(key);
  files.reset();
  std::string text = Text(FileNamed("00000001.outbox"));
  text[text.size() / 2] = '!';
  Write(FileNamed("00000001.outbox"), text);
  Reopen();
  EXPECT_EQ(files->SkippedBytes(), text.size() / 3);
  EXPECT_THAT(TakeAll(), ElementsAre("a", "c"));
}

TEST_F(OutboxFilesTest, Only_the_oldest_is_taken_out_by_its_number) {
  Put("a");
  Put("b");
  EXPECT_EQ(Oldest(), "a");
  const uint64_t first = number;
  files->Remove(first);
  files->Remove(first);
  EXPECT_THAT(TakeAll(), ElementsAre("b"));
  files->Remove(first);
}

TEST_F(OutboxFilesTest, One_that_was_removed_or_damaged_is_passed_over) {
  Put("a");
  Put("b", kMaxBytes / 64);
  Put("c", kMaxBytes / 64);
  std::filesystem::remove(FileNamed("00000001.outbox"));
  Write(FileNamed("00000002.outbox"), "damaged");
  OutboxRecord record;
  size_t dropped = 0;
  std::string problem;
  ASSERT_TRUE(files->Front(record, number, dropped, problem));
  EXPECT_EQ(record.key, "c");
  EXPECT_EQ(dropped, 2u);
  EXPECT_EQ(problem, "");
}

// A file that the system does not give out, although the tests run as root.
void MakeUnreadable(const std::string& path) {
  std::filesystem::rename(path, path + ".kept");
  std::filesystem::create_symlink(path, path);
}
void MakeReadable(const std::string& path) {
  std::filesystem::remove(path);
  std::filesystem::rename(path + ".kept", path);
}

TEST_F(OutboxFilesTest, One_that_can_not_be_read_at_present_stays) {
  Put("a");
  const std::string path = FileNamed("00000001.outbox");
  MakeUnreadable(path);
  OutboxRecord record;
  size_t dropped = 0;
  std::string problem;
  EXPECT_FALSE(files->Front(record, number, dropped, problem));
  EXPECT_EQ(problem, path + ": Too many levels of symbolic links");
  EXPECT_EQ(dropped, 0u);
  MakeReadable(path);
  EXPECT_THAT(TakeAll(), ElementsAre("a"));
}

TEST_F(OutboxFilesTest, With_a_file_that_can_not_be_read_nothing_is_opened_and_nothing_removed) {
  Put("a");
  Put("b", kMaxBytes / 64);
  files.reset();
  const std::string path = FileNamed("00000002.outbox");
  MakeUnreadable(path);
  files = std::make_unique<OutboxFiles>(Folder(), kMaxBytes);
  EXPECT_EQ(files->Open(), path + ": Too many levels of symbolic links");
  EXPECT_FALSE(files->IsOpen());
  EXPECT_EQ(files->Count(), 0u);
  MakeReadable(path);
  EXPECT_EQ(files->Open(), "");
  EXPECT_THAT(TakeAll(), ElementsAre("a", "b"));
}

TEST_F(OutboxFilesTest, Leaves_other_files_alone) {
  files.reset();
  for (const char* const name : {"1.outbox", "00000000.outbox", "0000000a.outbox", "00000001.log",
                                 "00000001.outbox.bak", "readme"}) {
    Write(FileNamed(name), "text");
  }
  Reopen();
  EXPECT_EQ(files->SkippedBytes(), 0u);
  EXPECT_THAT(Names(), SizeIs(6));
}

TEST_F(OutboxFilesTest, Has_one_process_at_a_time) {
  OutboxFiles other(Folder(), kMaxBytes);
  EXPECT_EQ(other.Open(), Folder() + ": another process has it");
  EXPECT_FALSE(other.IsOpen());
  Put("a");
  files.reset();
  EXPECT_EQ(other.Open(), "");
  EXPECT_EQ(other.Count(), 1u);
}

TEST_F(OutboxFilesTest, A_folder_that_can_not_be_made_is_told_with_its_reason) {
  Write(Base() + "/file", "");
  OutboxFiles other(Base() + "/file/outbox", kMaxBytes);
  EXPECT_EQ(other.Open(), Base() + "/file/outbox: Not a directory");
}

// The size of a file as the system bounds it: what is beyond is not written.
void BoundFiles(rlim_t bytes) {
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit = {bytes, RLIM_INFINITY};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
}

TEST_F(OutboxFilesTest, One_that_is_half_written_is_taken_back) {
  Put("a");
  const std::string path = FileNamed("00000001.outbox");
  const std::string before = Text(path);
  BoundFiles(before.size() + 20);
  size_t dropped = 0;
  EXPECT_EQ(files->Append(Entry("b"), dropped), path + ": File too large");
  EXPECT_EQ(Text(path), before);
  EXPECT_EQ(files->Count(), 1u);
  BoundFiles(RLIM_INFINITY);
  Put("c");
  EXPECT_THAT(TakeAll(), ElementsAre("a", "c"));
}

TEST_F(OutboxFilesTest, One_that_is_not_on_the_disk_is_not_there) {
  const std::string path = FileNamed("00000001.outbox");
  Put("a");
  const std::string before = Text(path);
  size_t dropped = 0;
  g_failing = "fdatasync";
  EXPECT_EQ(files->Append(Entry("b"), dropped), path + ": Input/output error");
  g_failing = nullptr;
  EXPECT_EQ(Text(path), before);
  EXPECT_THAT(TakeAll(), ElementsAre("a"));
}

TEST_F(OutboxFilesTest, A_file_whose_name_is_not_on_the_disk_is_none) {
  size_t dropped = 0;
  g_failing = "fsync";
  EXPECT_EQ(files->Append(Entry("a"), dropped), Folder() + ": Input/output error");
  g_failing = nullptr;
  EXPECT_THAT(Names(), IsEmpty());
  Put("b");
  EXPECT_THAT(TakeAll(), ElementsAre("b"));
}

TEST_F(OutboxFilesTest, A_write_that_a_signal_interrupts_goes_on) {
  Put("a");
  g_failing = "write";
  Put("b");
  EXPECT_EQ(g_failing, nullptr);
  EXPECT_THAT(TakeAll(), ElementsAre("a", "b"));
}

TEST_F(OutboxFilesTest, A_file_of_the_next_number_that_is_there_already_is_left_alone) {
  Write(FileNamed("00000001.outbox"), "text");
  size_t dropped = 0;
  EXPECT_EQ(files->Append(Entry("a"), dropped), FileNamed("00000001.outbox") + ": File exists");
  Put("b");
  EXPECT_EQ(Text(FileNamed("00000001.outbox")), "text");
  EXPECT_THAT(TakeAll(), ElementsAre("b"));
}

}  // namespace
}  // namespace unit
