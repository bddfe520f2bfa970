// SPDX-License-Identifier: Apache-2.0
// The values that the application reads in an answer's header block.
#include "app/HeaderText.h"

#include <algorithm>
#include <cctype>

namespace cloudclient {

namespace {

const char kBlanks[] = " \t";

std::string From(const std::string& text, size_t position) {
  return text.substr(std::min(position, text.size()));
}

std::string UpToCr(const std::string& text) { return text.substr(0, text.find('\r')); }

bool SameIgnoringCase(char a, char b) {
  return tolower(static_cast<unsigned char>(a)) == tolower(static_cast<unsigned char>(b));
}

}  // namespace

// Kept: docs/kept-behaviour.md#header-as-text
bool FindLocation(const std::string& header, std::string& value) {
  const std::string name = "Location:";
  const size_t found = header.find(name);
  if (found == std::string::npos) return false;
  const std::string rest = From(header, found + name.size());
  value = UpToCr(From(rest, rest.find_first_not_of(kBlanks)));
  return true;
}

bool FindToken(const std::string& header, std::string& value) {
  const std::string name = "X-Auth-Token";
  const auto found =
      std::search(header.begin(), header.end(), name.begin(), name.end(), SameIgnoringCase);
  if (found == header.end()) return false;
  const auto position = static_cast<size_t>(found - header.begin());
  value = UpToCr(From(header, position + name.size() + 1));  // the name and its colon
  // Kept: docs/kept-behaviour.md#token-keeps-blanks
  const size_t start = value.find_first_not_of(kBlanks);
  if (start != std::string::npos) value.erase(0, start);
  return true;
}

}  // namespace cloudclient
