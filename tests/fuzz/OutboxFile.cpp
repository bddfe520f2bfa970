// SPDX-License-Identifier: Apache-2.0
// A file of the outbox: any bytes; and records that were torn at any byte, or damaged in one.
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "Fuzz.h"
#include "https/OutboxFiles.h"
#include "https/OutboxRecord.h"

namespace {

using cloudclient::OutboxFiles;
using cloudclient::OutboxRecord;

bool Same(const OutboxRecord& a, const OutboxRecord& b) {
  return a.time == b.time && a.key == b.key && a.resource == b.resource && a.chassis == b.chassis &&
         a.document == b.document;
}

// What is read of any bytes would be written alike, but for the mark.
void ReadAnything(const std::string& text) {
  OutboxRecord record;
  bool waits = false;
  const size_t size = cloudclient::ReadOutboxRecord(text, record, waits);
  fuzz::Require(size <= text.size(), "a record lies in its text");
  if (size == 0) return;
  OutboxRecord again;
  bool waitsToo = false;
  const std::string written = cloudclient::OutboxRecordText(record);
  fuzz::Require(cloudclient::ReadOutboxRecord(written, again, waitsToo) == written.size() &&
                    waitsToo && Same(record, again),
                "a record is read as it was written");
}

std::vector<OutboxRecord> Records(fuzz::Input& input) {
  std::vector<OutboxRecord> records;
  for (size_t count = input.Choice(6); count > 0; --count) {
    OutboxRecord record;
    record.time = static_cast<time_t>(input.Choice(256)) * 10000000;
    record.key = "key" + std::to_string(count);
    record.resource = input.Text();
    record.chassis = input.Text();
    record.document = input.Text();
    records.push_back(record);
  }
  return records;
}

// Records behind one another, of which the bytes from `torn` on are missing: those before are
// there.
void ReadTorn(const std::vector<OutboxRecord>& records, size_t torn) {
  std::string text;
  std::vector<size_t> ends;
  for (const OutboxRecord& record : records) {
    text += cloudclient::OutboxRecordText(record);
    ends.push_back(text.size());
  }
  text.resize(text.size() * torn / 65536);
  size_t offset = 0;
  for (size_t i = 0; i < records.size(); ++i) {
    OutboxRecord record;
    bool waits = false;
    const size_t size =
        cloudclient::ReadOutboxRecord(std::string_view(text).substr(offset), record, waits);
    if (ends[i] > text.size()) {
      fuzz::Require(size == 0, "a torn record is none");
      return;
    }
    fuzz::Require(offset + size == ends[i] && waits && Same(record, records[i]),
                  "a record before the tear is whole");
    offset += size;
  }
}

// The folder's one file holds any bytes: whatever is taken of it, what is put comes behind it.
void OpenAnything(const std::string& text) {
  static const std::string folder = [] {
    std::string name = std::filesystem::temp_directory_path() / "fuzz.XXXXXX";
    fuzz::Require(mkdtemp(name.data()) != nullptr, "there is a folder");
    return name;
  }();
  const std::string path = folder + "/00000001.outbox";
  FILE* const file = fopen(path.c_str(), "we");
  fuzz::Require(file != nullptr && fwrite(text.data(), 1, text.size(), file) == text.size() &&
                    fclose(file) == 0,
                "the file is written");
  {
    OutboxFiles files(folder, 65536);
    fuzz::Require(files.Open().empty(), "the folder opens");
    fuzz::Require(files.SkippedBytes() <= text.size(), "no more is skipped than there is");
    size_t dropped = 0;
    fuzz::Require(files.Append({1, "last", "", "", ""}, dropped).empty() && dropped == 0,
                  "there is room for one more");
    OutboxRecord record;
    uint64_t number = 0;
    std::string problem;
    while (files.Count() > 0) {
      fuzz::Require(files.Front(record, number, dropped, problem) && dropped == 0,
                    "what was taken can be read");
      files.Remove(number);
    }
    fuzz::Require(record.key == "last", "what is put comes last");
  }
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    std::filesystem::remove(entry.path());
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  const size_t way = input.Choice(16);
  if (way == 0) {
    // A tenth of the speed: it needs the disk.
    OpenAnything(input.Rest());
  } else if (way < 8) {
    ReadAnything(input.Rest());
  } else {
    const size_t torn = input.Choice(256) * 256 + input.Choice(256);
    ReadTorn(Records(input), torn);
  }
  return 0;
}
