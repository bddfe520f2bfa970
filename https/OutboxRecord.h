// SPDX-License-Identifier: Apache-2.0
#ifndef HTTPS_OUTBOXRECORD_H_
#define HTTPS_OUTBOXRECORD_H_

#include <cstddef>
#include <ctime>
#include <string>
#include <string_view>

namespace cloudclient {

// A delivery to the service that waits in the outbox.
struct OutboxRecord {
  time_t time = 0;       // when it was put there
  std::string key;       // of its own: no blank, no control character
  std::string resource;  // path of the resource that is patched; empty for an event
  std::string chassis;   // identifier of the chassis by which path and document name it
  std::string document;  // any bytes

  bool IsEvent() const { return resource.empty(); }
};

// Whether a time is not that of a clock which was not set yet, and tells nothing: from 2020 on.
constexpr bool IsOfSetClock(time_t time) { return time >= 1577836800; }

// A record as it stands in a file: a line of "+", time, key, the lengths of the three texts and a
// checksum (CRC-32, in hexadecimal digits), with blanks between; the texts; a line end.
std::string OutboxRecordText(const OutboxRecord& record);

// What takes the place of the "+", the first byte, when a record is delivered or dropped. The
// checksum leaves that byte out.
constexpr char kOutboxDone = '-';

// Reads the record that stands at the beginning of `text`, and whether it still waits. Returns its
// size, or 0, with the outputs undefined, when there is no whole one.
size_t ReadOutboxRecord(std::string_view text, OutboxRecord& record, bool& waits);

}  // namespace cloudclient

#endif  // HTTPS_OUTBOXRECORD_H_
