// SPDX-License-Identifier: Apache-2.0
// Any bytes as text that PostgreSQL keeps.
#include "service/store/postgresql/Encoding.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>

namespace cloudservice::postgresql {

namespace {

constexpr char kMark = '\x01';
constexpr const char* kDigits = "0123456789abcdef";

unsigned ByteAt(const std::string& text, std::size_t at) {
  return static_cast<unsigned char>(text[at]);
}

// Whether the byte at `at` lies between `least` and `most`; false behind the end.
bool Lies(const std::string& text, std::size_t at, unsigned least, unsigned most) {
  return at < text.size() && ByteAt(text, at) >= least && ByteAt(text, at) <= most;
}

// The number of bytes of the character at `at`; 0 when there is none of UTF-8.
std::size_t LengthAt(const std::string& text, std::size_t at) {
  const unsigned first = ByteAt(text, at);
  if (first < 0x80) return 1;
  if (first < 0xc2 || first > 0xf4) return 0;
  // The second byte keeps out what has a shorter form, surrogates, and what is above U+10FFFF.
  const unsigned least = first == 0xe0 ? 0xa0 : first == 0xf0 ? 0x90 : 0x80;
  const unsigned most = first == 0xed ? 0x9f : first == 0xf4 ? 0x8f : 0xbf;
  const std::size_t length = first < 0xe0 ? 2 : first < 0xf0 ? 3 : 4;
  if (!Lies(text, at + 1, least, most)) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if (!Lies(text, at + i, 0x80, 0xbf)) return 0;
  }
  return length;
}

bool IsPlain(const std::string& text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = LengthAt(text, at);
    if (length == 0 || ByteAt(text, at) <= 1) return false;
    at += length;
  }
  return true;
}

unsigned ValueOf(char digit) {
  const char* found = std::strchr(kDigits, digit);
  return found == nullptr ? 0 : static_cast<unsigned>(found - kDigits);
}

}  // namespace

std::string Encoded(const std::string& text) {
  if (IsPlain(text)) return text;
  std::string encoded;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = LengthAt(text, at);
    const unsigned byte = ByteAt(text, at);
    if (length == 0) {
      encoded += {kMark, '3', kDigits[byte >> 4], kDigits[byte & 0xf]};
    } else if (byte <= 1) {
      encoded += {kMark, byte == 0 ? '1' : '2'};
    } else {
      encoded.append(text, at, length);
    }
    at += std::max<std::size_t>(length, 1);
  }
  return encoded;
}

std::string Decoded(std::string encoded) {
  if (encoded.find(kMark) == std::string::npos) return encoded;
  std::string text;
  for (std::size_t at = 0; at < encoded.size(); ++at) {
    if (encoded[at] != kMark || at + 1 == encoded.size()) {
      text += encoded[at];
      continue;
    }
    const char kind = encoded[++at];
    if (kind == '3' && at + 2 < encoded.size()) {
      text += static_cast<char>(ValueOf(encoded[at + 1]) << 4 | ValueOf(encoded[at + 2]));
      at += 2;
    } else {
      text += kind == '1' ? '\0' : kMark;
    }
  }
  return text;
}

std::string& ArrayLiteral::Next() { return m_text += m_text.empty() ? '{' : ','; }

void ArrayLiteral::Add(const std::string& text) {
  Next() += '"';
  for (const char c : Encoded(text)) {
    if (c == '"' || c == '\\') m_text += '\\';
    m_text += c;
  }
  m_text += '"';
}

void ArrayLiteral::Add(std::int64_t number) { Next() += std::to_string(number); }

void ArrayLiteral::AddNull() { Next() += "NULL"; }

std::string ArrayLiteral::Take() { return m_text.empty() ? "{}" : std::move(m_text) + '}'; }

std::string ArrayOf(const std::vector<std::string>& texts) {
  ArrayLiteral array;
  for (const std::string& text : texts) array.Add(text);
  return array.Take();
}

}  // namespace cloudservice::postgresql
