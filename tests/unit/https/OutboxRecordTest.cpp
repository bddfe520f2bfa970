// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "https/OutboxRecord.h"

namespace unit {
namespace {

using cloudclient::OutboxRecord;
using cloudclient::OutboxRecordText;
using cloudclient::ReadOutboxRecord;

// A NUL, no UTF-8, and what looks like another record.
constexpr char kBytes[] = "{\n\"a\": \"\0\xff\"}\n+ ";

OutboxRecord Patched() {
  return {1772716029, "0123456789abcdef0123456789abcdef", "/redfish/v1/Chassis/17", "17",
          std::string(kBytes, sizeof kBytes - 1)};
}

void ExpectSame(const OutboxRecord& record, const OutboxRecord& other) {
  EXPECT_EQ(record.time, other.time);
  EXPECT_EQ(record.key, other.key);
  EXPECT_EQ(record.resource, other.resource);
  EXPECT_EQ(record.chassis, other.chassis);
  EXPECT_EQ(record.document, other.document);
}

// The size of the record at the beginning of a text.
size_t SizeIn(std::string_view text) {
  OutboxRecord record;
  bool waits = false;
  return ReadOutboxRecord(text, record, waits);
}

TEST(OutboxRecordTest, Is_a_line_of_its_lengths_before_its_texts) {
  EXPECT_EQ(OutboxRecordText({17, "k1", "", "17", "{}"}), "+ 17 k1 0 2 2 9fa9ba17\n17{}\n");
  EXPECT_TRUE(OutboxRecord({17, "k1", "", "17", "{}"}).IsEvent());
  EXPECT_FALSE(Patched().IsEvent());
}

TEST(OutboxRecordTest, Is_read_as_it_was_written_whatever_bytes_it_holds) {
  for (const OutboxRecord& record :
       {Patched(), OutboxRecord{-1, "k", "", "", ""}, OutboxRecord{0, "k", "/x", "", "{}"}}) {
    const std::string text = OutboxRecordText(record);
    OutboxRecord read = {5, "old", "old", "old", "old"};
    bool waits = false;
    EXPECT_EQ(ReadOutboxRecord(text + "+ 17", read, waits), text.size());
    EXPECT_TRUE(waits);
    ExpectSame(read, record);
  }
}

TEST(OutboxRecordTest, Is_read_when_it_is_done_and_does_not_wait_then) {
  std::string text = OutboxRecordText(Patched());
  text[0] = cloudclient::kOutboxDone;
  OutboxRecord read;
  bool waits = true;
  EXPECT_EQ(ReadOutboxRecord(text, read, waits), text.size());
  EXPECT_FALSE(waits);
  ExpectSame(read, Patched());
}

TEST(OutboxRecordTest, Cut_off_anywhere_is_none) {
  const std::string text = OutboxRecordText(Patched());
  for (size_t size = 0; size < text.size(); ++size) {
    EXPECT_EQ(SizeIn(text.substr(0, size)), 0u) << size;
  }
}

TEST(OutboxRecordTest, With_any_byte_changed_is_none) {
  const std::string text = OutboxRecordText(Patched());
  for (size_t at = 0; at < text.size(); ++at) {
    for (const int change : {1, 0x80}) {
      std::string changed = text;
      changed[at] = static_cast<char>(changed[at] ^ change);
      EXPECT_EQ(SizeIn(changed), 0u) << at;
    }
  }
}

TEST(OutboxRecordTest, With_lengths_beyond_all_bytes_is_none) {
  for (const char* const head :
       {"+ 17 k1 0 2 99999999999999999999 0\n17{}\n", "+ 17 k1 0 18446744073709551615 3 0\n17{}\n",
        "+ 17 k1 -1 2 2 0\n17{}\n", "+ 17 k1 0 2 2\n17{}\n", "+ 17 k1 0 2 2 0 0\n17{}\n", "+ \n",
        "+\n", "\n", ""}) {
    EXPECT_EQ(SizeIn(head), 0u) << head;
  }
}

}  // namespace
}  // namespace unit
