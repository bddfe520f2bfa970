// SPDX-License-Identifier: Apache-2.0
#ifndef HTTPS_OUTBOXFILES_H_
#define HTTPS_OUTBOXFILES_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "https/OutboxRecord.h"

namespace cloudclient {

// A queue of records in the files of a folder: first in, first out, on the disk before it is said
// to be, and after an end of the process or of the machine at any moment still whole.
//
// Files are numbered, "00000017.outbox", and hold records one behind the other; one that is full is
// followed by the next number, and one whose records are all done is removed. A record that is done
// is marked in its place without waiting for the disk: after a power cut it may stand there again,
// which is why each has a key. What is no record, as the end of a file that was being written, is
// skipped. One process at a time has the folder; one thread at a time calls.
class OutboxFiles {
 public:
  // `folder` is this machine's path. The files take at most `maxBytes`, at least 65536, together.
  OutboxFiles(std::string folder, uint64_t maxBytes);
  ~OutboxFiles();
  OutboxFiles(const OutboxFiles&) = delete;
  OutboxFiles& operator=(const OutboxFiles&) = delete;

  // Makes the folder, with those above it, when there is none, takes it for this process, and reads
  // what waits. Empty, or why not: nothing is taken then, and it may be called again.
  std::string Open();
  bool IsOpen() const { return m_folderFd >= 0; }
  // Bytes that Open found in the files and that are no records.
  uint64_t SkippedBytes() const { return m_skippedBytes; }

  // Puts a record behind the others and waits for the disk. Where there is no room the oldest give
  // way, which `dropped` counts. Empty, or why it is not there.
  std::string Append(const OutboxRecord& record, size_t& dropped);

  size_t Count() const { return m_entries.size(); }
  // The oldest record, and a number of its own in `number`; false when there is none. One that was
  // removed or damaged is passed over, which `dropped` counts. False with a `problem` when it can't
  // be read at present.
  bool Front(OutboxRecord& record, uint64_t& number, size_t& dropped, std::string& problem);
  // Marks the record of this number as done, if it still waits.
  void Remove(uint64_t number);

  // The numbers of what waits, the oldest first. They grow.
  std::vector<uint64_t> Numbers() const;
  // The number of the newest record; there is one.
  uint64_t Newest() const { return NumberOf(m_entries.back()); }
  // The record of this number; false when it does not wait, or can't be read.
  bool Read(uint64_t number, OutboxRecord& record) const;

 private:
  struct Entry {
    uint32_t file;
    uint32_t offset;
    uint32_t size;
  };
  struct File {
    uint64_t bytes = 0;
    size_t waiting = 0;
  };

  static uint64_t NumberOf(const Entry& entry);
  std::string Path(uint32_t file) const;
  std::string TakeFolder();
  std::string ReadFolder();
  std::string ReadFile(uint32_t file);
  void Close();
  std::deque<Entry>::const_iterator Find(uint64_t number) const;
  void Drop(const std::deque<Entry>::const_iterator& at);
  std::string BeginFile();
  void EndFile();
  void RemoveIfDone(uint32_t file);
  uint64_t Bytes() const;

  const std::string m_folder;
  const uint64_t m_maxBytes;
  int m_folderFd = -1;  // also the lock
  int m_fileFd = -1;    // the newest file, which is appended to
  uint32_t m_newest = 0;
  std::map<uint32_t, File> m_files;  // by number
  std::deque<Entry> m_entries;       // what waits, the oldest first
  uint64_t m_skippedBytes = 0;
};

}  // namespace cloudclient

#endif  // HTTPS_OUTBOXFILES_H_
