// SPDX-License-Identifier: Apache-2.0
// Unknown keys, and the known ones that may have been meant.
#include "host/util/UnknownKeys.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace host {
namespace {

constexpr size_t kMostChanges = 2;

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

// How many letters must be put in, left out or changed to make one text of the other; capitals
// count as small letters.
size_t Distance(const std::string& one, const std::string& other) {
  std::vector<size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 1; i <= one.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= other.size(); ++j) {
      const size_t changed = diagonal + (Lower(one[i - 1]) == Lower(other[j - 1]) ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({changed, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row.back();
}

// The known text that is most like this one; empty when none is like it.
std::string Nearest(const std::string& text, const std::vector<std::string>& known) {
  std::string nearest;
  size_t least = kMostChanges + 1;
  for (const std::string& key : known) {
    const size_t distance = Distance(text, key);
    // A short word is near to anything.
    if (distance < least && 2 * distance < key.size()) {
      least = distance;
      nearest = key;
    }
  }
  return nearest;
}

}  // namespace

std::string MeantHint(const std::string& text, const std::vector<std::string>& known) {
  const std::string nearest = Nearest(text, known);
  return nearest.empty() ? "" : " (is \"" + nearest + "\" meant?)";
}

std::vector<std::string> UnknownKeys(const json_t* object, const std::vector<std::string>& known) {
  std::vector<std::string> unknown;
  // jansson iterates over its objects only without const.
  auto* iterated = const_cast<json_t*>(object);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(iterated, key, value) {
    if (std::find(known.begin(), known.end(), key) != known.end()) continue;
    unknown.push_back("\"" + std::string(key) + "\"" + MeantHint(key, known));
  }
  return unknown;
}

std::string UnknownKeysText(const std::vector<std::string>& unknown) {
  std::string text;
  for (const std::string& key : unknown) text += (text.empty() ? "" : ", ") + key;
  return text;
}

}  // namespace host
