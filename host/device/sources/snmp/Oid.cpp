// SPDX-License-Identifier: Apache-2.0
// Object identifiers and their texts.
#include "host/device/sources/snmp/Oid.h"

#include <limits>

namespace host {
namespace {

constexpr size_t kLeastNumbers = 2;
constexpr size_t kMostNumbers = 128;
constexpr uint32_t kRoots = 2;       // the largest first number
constexpr uint32_t kBelowRoot = 40;  // the second one below the first two roots

// The number that begins at `at`, which is moved behind it; none without a digit there, and of one
// that is too large.
std::optional<uint32_t> TakeNumber(const std::string& text, size_t& at) {
  uint64_t number = 0;
  const size_t begin = at;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    number = number * 10 + static_cast<uint64_t>(text[at] - '0');
    if (number > std::numeric_limits<uint32_t>::max()) return std::nullopt;
  }
  if (at == begin) return std::nullopt;
  return static_cast<uint32_t>(number);
}

}  // namespace

std::optional<Oid> ParseOid(const std::string& text) {
  Oid oid;
  size_t at = !text.empty() && text.front() == '.' ? 1 : 0;
  for (;;) {
    const std::optional<uint32_t> number = TakeNumber(text, at);
    if (!number || oid.size() == kMostNumbers) return std::nullopt;
    oid.push_back(*number);
    if (at == text.size()) break;
    if (text[at++] != '.') return std::nullopt;
  }
  if (oid.size() < kLeastNumbers || oid[0] > kRoots) return std::nullopt;
  if (oid[0] < kRoots && oid[1] >= kBelowRoot) return std::nullopt;
  return oid;
}

std::string OidText(const Oid& oid) {
  std::string text;
  for (const uint32_t number : oid) text += (text.empty() ? "" : ".") + std::to_string(number);
  return text;
}

}  // namespace host
