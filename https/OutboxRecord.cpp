// SPDX-License-Identifier: Apache-2.0
// The outbox's records as bytes of a file.
#include "https/OutboxRecord.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <cstdio>

namespace cloudclient {
namespace {

constexpr char kWaits = '+';
constexpr size_t kMarkSize = 2;       // "+ "
constexpr size_t kLongestHead = 256;  // a head is a line of at most 200 bytes
constexpr int kDecimal = 10;
constexpr int kHexadecimal = 16;

// CRC-32 as Ethernet has it, continued from `crc`.
uint32_t Crc(std::string_view text, uint32_t crc) {
  constexpr uint32_t kPolynomial = 0xEDB88320;
  crc = ~crc;
  for (const char c : text) {
    crc ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1U ^ ((crc & 1U) != 0 ? kPolynomial : 0);
  }
  return ~crc;
}

// The word up to the next blank or the end, taken off `text` with that blank.
std::string_view TakeWord(std::string_view& text) {
  const std::string_view word = text.substr(0, text.find(' '));
  text.remove_prefix(word.size() < text.size() ? word.size() + 1 : word.size());
  return word;
}

// The word as a number, if all of it is one.
template <typename Number>
bool TakeNumber(std::string_view& text, Number& number, int base = kDecimal) {
  const std::string_view word = TakeWord(text);
  const char* const end = word.data() + word.size();
  const auto [read, error] = std::from_chars(word.data(), end, number, base);
  return error == std::errc() && read == end && !word.empty();
}

// The first `size` bytes, taken off `text`; false when it has fewer.
bool TakeText(std::string_view& text, size_t size, std::string& out) {
  if (text.size() < size) return false;
  out = text.substr(0, size);
  text.remove_prefix(size);
  return true;
}

}  // namespace

std::string OutboxRecordText(const OutboxRecord& record) {
  std::string head = std::to_string(static_cast<int64_t>(record.time)) + " " + record.key;
  for (const std::string* text : {&record.resource, &record.chassis, &record.document}) {
    head += " " + std::to_string(text->size());
  }
  const std::string texts = record.resource + record.chassis + record.document;
  std::array<char, 16> crc = {};
  snprintf(crc.data(), crc.size(), " %08x\n", static_cast<unsigned int>(Crc(texts, Crc(head, 0))));
  return kWaits + (" " + head + crc.data() + texts) + "\n";
}

size_t ReadOutboxRecord(std::string_view text, OutboxRecord& record, bool& waits) {
  const size_t line = text.substr(0, kLongestHead).find('\n');
  if (line == std::string_view::npos || line < kMarkSize || text[1] != ' ') return 0;
  if (text[0] != kWaits && text[0] != kOutboxDone) return 0;
  waits = text[0] == kWaits;

  std::string_view head = text.substr(kMarkSize, line - kMarkSize);
  const std::string_view checked = head.substr(0, head.rfind(' '));
  int64_t time = 0;
  size_t resourceSize = 0;
  size_t chassisSize = 0;
  size_t documentSize = 0;
  uint32_t crc = 0;
  if (!TakeNumber(head, time)) return 0;
  record.time = static_cast<time_t>(time);
  record.key = TakeWord(head);
  if (!TakeNumber(head, resourceSize) || !TakeNumber(head, chassisSize) ||
      !TakeNumber(head, documentSize) || !TakeNumber(head, crc, kHexadecimal) || !head.empty()) {
    return 0;
  }
  std::string_view rest = text.substr(line + 1);
  const std::string_view texts = rest;
  if (!TakeText(rest, resourceSize, record.resource) ||
      !TakeText(rest, chassisSize, record.chassis) ||
      !TakeText(rest, documentSize, record.document) || rest.substr(0, 1) != "\n") {
    return 0;
  }
  const std::string_view all = texts.substr(0, texts.size() - rest.size());
  if (Crc(all, Crc(checked, 0)) != crc) return 0;
  return text.size() - rest.size() + 1;
}

}  // namespace cloudclient
