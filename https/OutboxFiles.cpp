// SPDX-License-Identifier: Apache-2.0
// The outbox's files.
#include "https/OutboxFiles.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

namespace cloudclient {
namespace {

// A file is full at this share of all bytes: what is done goes, and what gives way goes, in pieces
// of this size.
constexpr uint64_t kFilesOfAll = 64;

constexpr size_t kNumberDigits = 8;
constexpr char kSuffix[] = ".outbox";

// No file of the outbox is larger; what is, is read so far.
constexpr size_t kLargestFile = 64UL * 1024 * 1024;

std::string Reason(const std::string& what) { return what + ": " + std::strerror(errno); }

// The number of a file of the outbox; 0 for any other name.
uint32_t FileNumberOf(const std::string& name) {
  const bool isOne = name.size() == kNumberDigits + sizeof kSuffix - 1 &&
                     name.find_first_not_of("0123456789") == kNumberDigits &&
                     name.compare(kNumberDigits, std::string::npos, kSuffix) == 0;
  return isOne ? static_cast<uint32_t>(std::stoul(name.substr(0, kNumberDigits))) : 0;
}

// Has a folder's own list of names on the disk. What fails costs at most a power cut's worth.
void SyncFolder(const std::string& folder) {
  const int fd = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  fsync(fd);
  close(fd);
}

// Makes a folder and those above it, each named in its parent for good. What fails shows when the
// folder is opened.
void MakeFolders(const std::string& folder) {
  for (size_t slash = folder.find('/', 1);; slash = folder.find('/', slash + 1)) {
    const bool isLast = slash == std::string::npos;
    const std::string path = folder.substr(0, slash);
    if (mkdir(path.c_str(), isLast ? 0700 : 0755) == 0) {
      SyncFolder(path.substr(0, std::max<size_t>(path.rfind('/'), 1)));
    }
    if (isLast) return;
  }
}

// Up to `size` bytes of a file from `offset` on, as many as there are. False, with errno, when it
// can't be read.
bool ReadBytes(const std::string& path, uint32_t offset, size_t size, std::string& text) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "re"), &fclose);
  if (!file || fseek(file.get(), 0, SEEK_END) != 0) return false;
  const long end = ftell(file.get());
  if (end < 0 || fseek(file.get(), static_cast<long>(offset), SEEK_SET) != 0) return false;
  const auto rest = static_cast<size_t>(std::max(end - static_cast<long>(offset), 0L));
  text.assign(std::min(size, rest), '\0');
  text.resize(fread(text.data(), 1, text.size(), file.get()));
  return ferror(file.get()) == 0;
}

bool WriteAll(int fd, const std::string& text) {
  for (size_t written = 0; written < text.size();) {
    const ssize_t count = write(fd, text.data() + written, text.size() - written);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    written += static_cast<size_t>(count);
  }
  return true;
}

}  // namespace

OutboxFiles::OutboxFiles(std::string folder, uint64_t maxBytes)
    : m_folder(std::move(folder)), m_maxBytes(maxBytes) {}

OutboxFiles::~OutboxFiles() {
  EndFile();
  Close();
}

// Lets the folder go, and what was read of it.
void OutboxFiles::Close() {
  if (m_folderFd >= 0) close(std::exchange(m_folderFd, -1));
  m_files.clear();
  m_entries.clear();
  m_skippedBytes = 0;
}

std::string OutboxFiles::Path(uint32_t file) const {
  const std::string digits = std::to_string(file);
  const size_t zeros = kNumberDigits - std::min(kNumberDigits, digits.size());
  return m_folder + "/" + std::string(zeros, '0') + digits + kSuffix;
}

std::string OutboxFiles::Open() {
  try {
    std::string problem = TakeFolder();
    if (problem.empty()) problem = ReadFolder();
    if (!problem.empty()) Close();
    return problem;
  } catch (...) {
    Close();
    throw;
  }
}

std::string OutboxFiles::ReadFolder() {
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(m_folder.c_str()), &closedir);
  if (!folder) return Reason(m_folder);
  std::vector<uint32_t> files;
  errno = 0;
  while (const dirent* const entry = readdir(folder.get())) {
    if (const uint32_t file = FileNumberOf(entry->d_name); file != 0) files.push_back(file);
    errno = 0;
  }
  if (errno != 0) return Reason(m_folder);
  std::sort(files.begin(), files.end());
  m_newest = files.empty() ? 0 : files.back();
  for (const uint32_t file : files) {
    std::string problem = ReadFile(file);
    if (!problem.empty()) return problem;
  }
  return {};
}

// Opens the folder and takes it for this process.
std::string OutboxFiles::TakeFolder() {
  MakeFolders(m_folder);
  const int fd = open(m_folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return Reason(m_folder);
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    std::string problem =
        errno == EWOULDBLOCK ? m_folder + ": another process has it" : Reason(m_folder);
    close(fd);
    return problem;
  }
  m_folderFd = fd;
  return {};
}

// Takes in a file that an earlier process left. Empty, or why it can't be read.
std::string OutboxFiles::ReadFile(uint32_t file) {
  std::string text;
  if (!ReadBytes(Path(file), 0, kLargestFile, text)) return Reason(Path(file));
  const std::string_view all = text;
  m_files[file].bytes = text.size();
  OutboxRecord record;
  for (size_t offset = 0; offset < all.size();) {
    bool waits = false;
    const size_t size = ReadOutboxRecord(all.substr(offset), record, waits);
    if (size == 0) {
      // Looks on behind the next line end: damage costs what it has damaged.
      const size_t next = std::min(all.find('\n', offset), all.size() - 1) + 1;
      m_skippedBytes += next - offset;
      offset = next;
      continue;
    }
    if (waits) {
      m_entries.push_back({file, static_cast<uint32_t>(offset), static_cast<uint32_t>(size)});
      ++m_files[file].waiting;
    }
    offset += size;
  }
  RemoveIfDone(file);
  return {};
}

std::string OutboxFiles::Append(const OutboxRecord& record, size_t& dropped) {
  dropped = 0;
  const std::string text = OutboxRecordText(record);
  if (text.size() > m_maxBytes / 2) return "an entry of " + std::to_string(text.size()) + " bytes";
  for (; Bytes() + text.size() > m_maxBytes && !m_entries.empty(); ++dropped)
    Drop(m_entries.begin());

  const bool isFull =
      m_fileFd >= 0 && m_files[m_newest].bytes + text.size() >
                           std::max<uint64_t>(m_maxBytes / kFilesOfAll, text.size());
  if (isFull) EndFile();
  if (m_fileFd < 0) {
    std::string problem = BeginFile();
    if (!problem.empty()) return problem;
  }
  File& file = m_files[m_newest];
  // What can throw comes before the write: a record that is there and not known would shift those
  // behind it.
  m_entries.push_back(
      {m_newest, static_cast<uint32_t>(file.bytes), static_cast<uint32_t>(text.size())});
  if (!WriteAll(m_fileFd, text) || fdatasync(m_fileFd) != 0) {
    const int error = errno;
    m_entries.pop_back();
    // A part of a record must not stand before the next one; where it can't be taken back, the next
    // begins a file.
    const uint32_t number = m_newest;
    if (ftruncate(m_fileFd, static_cast<off_t>(file.bytes)) != 0) EndFile();
    errno = error;
    return Reason(Path(number));
  }
  file.bytes += text.size();
  ++file.waiting;
  return {};
}

std::string OutboxFiles::BeginFile() {
  const std::string path = Path(++m_newest);
  const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0600);
  if (fd < 0) return Reason(path);
  if (fsync(m_folderFd) != 0) {
    std::string problem = Reason(m_folder);
    close(fd);
    unlink(path.c_str());
    return problem;
  }
  m_fileFd = fd;
  m_files[m_newest] = {};
  return {};
}

void OutboxFiles::EndFile() {
  if (m_fileFd < 0) return;
  close(std::exchange(m_fileFd, -1));
  RemoveIfDone(m_newest);
}

bool OutboxFiles::Front(OutboxRecord& record, uint64_t& number, size_t& dropped,
                        std::string& problem) {
  for (dropped = 0; !m_entries.empty(); ++dropped) {
    const Entry& entry = m_entries.front();
    std::string text;
    if (!ReadBytes(Path(entry.file), entry.offset, entry.size, text) && errno != ENOENT) {
      problem = Reason(Path(entry.file));
      return false;
    }
    bool waits = false;
    number = NumberOf(entry);
    if (ReadOutboxRecord(text, record, waits) == entry.size) return true;
    Drop(m_entries.begin());
  }
  return false;
}

void OutboxFiles::Remove(uint64_t number) {
  const auto found = Find(number);
  if (found != m_entries.end()) Drop(found);
}

std::vector<uint64_t> OutboxFiles::Numbers() const {
  std::vector<uint64_t> numbers;
  numbers.reserve(m_entries.size());
  for (const Entry& entry : m_entries) numbers.push_back(NumberOf(entry));
  return numbers;
}

bool OutboxFiles::Read(uint64_t number, OutboxRecord& record) const {
  const auto found = Find(number);
  std::string text;
  bool waits = false;
  return found != m_entries.end() &&
         ReadBytes(Path(found->file), found->offset, found->size, text) &&
         ReadOutboxRecord(text, record, waits) == found->size;
}

std::deque<OutboxFiles::Entry>::const_iterator OutboxFiles::Find(uint64_t number) const {
  const auto found = std::lower_bound(
      m_entries.begin(), m_entries.end(), number,
      [](const Entry& entry, uint64_t wanted) { return NumberOf(entry) < wanted; });
  return found != m_entries.end() && NumberOf(*found) == number ? found : m_entries.end();
}

uint64_t OutboxFiles::NumberOf(const Entry& entry) {
  return static_cast<uint64_t>(entry.file) << 32U | entry.offset;
}

void OutboxFiles::Drop(const std::deque<Entry>::const_iterator& at) {
  const Entry entry = *at;
  m_entries.erase(at);
  const int fd = open(Path(entry.file).c_str(), O_WRONLY | O_CLOEXEC);
  if (fd >= 0) {
    // One that stays unmarked is delivered again: its key tells the service.
    [[maybe_unused]] const ssize_t written = pwrite(fd, &kOutboxDone, 1, entry.offset);
    close(fd);
  }
  --m_files[entry.file].waiting;
  RemoveIfDone(entry.file);
}

// Removes a file of which nothing waits, unless it is appended to.
void OutboxFiles::RemoveIfDone(uint32_t file) {
  const auto found = m_files.find(file);
  const bool isAppendedTo = m_fileFd >= 0 && file == m_newest;
  if (found == m_files.end() || found->second.waiting != 0 || isAppendedTo) return;
  unlink(Path(file).c_str());
  m_files.erase(found);
}

uint64_t OutboxFiles::Bytes() const {
  uint64_t bytes = 0;
  for (const auto& [number, file] : m_files) bytes += file.bytes;
  return bytes;
}

}  // namespace cloudclient
