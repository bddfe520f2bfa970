// SPDX-License-Identifier: Apache-2.0
// Reading a file that holds one JSON object.
#include "host/util/JsonFile.h"

#include <cerrno>
#include <cstring>

#include "host/util/Files.h"

namespace host {
namespace {

constexpr size_t kLargestFile = 16 * 1024 * 1024;

}  // namespace

FileState ReadJsonObject(const std::string& path, JsonRef& object, std::string& problem) {
  std::string text;
  const int error = ReadFile(path, kLargestFile, text);
  if (error == ENOENT) return FileState::kMissing;
  if (error != 0) {
    problem = path + " cannot be read: " + std::strerror(error);
    return FileState::kBad;
  }
  json_error_t where = {};
  JsonRef root(json_loadb(text.data(), text.size(), JSON_ALLOW_NUL | JSON_DECODE_ANY, &where));
  if (root == nullptr) {
    // Without the parser's words: they quote the file, which holds secrets.
    problem = path + " is not valid JSON: line " + std::to_string(where.line) + ", column " +
              std::to_string(where.column);
    return FileState::kBad;
  }
  if (!json_is_object(root.get())) {
    problem = path + " is not valid: line 1, column 1: not a JSON object";
    return FileState::kBad;
  }
  object = std::move(root);
  return FileState::kRead;
}

}  // namespace host
