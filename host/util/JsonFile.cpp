// SPDX-License-Identifier: Apache-2.0
// Reading a file that holds one JSON object.
#include "host/util/JsonFile.h"

#include <cerrno>

#include "host/util/Files.h"

namespace host {
namespace {

constexpr size_t kLargestFile = 16 * 1024 * 1024;

}  // namespace

Problem ReadJsonObject(const std::string& path, JsonRef& object) {
  std::string text;
  if (Problem problem = ReadFile(path, kLargestFile, text)) {
    return problem.With(problem.Errno() == ENOENT ? path : path + " cannot be read");
  }
  json_error_t where = {};
  JsonRef root(json_loadb(text.data(), text.size(), JSON_ALLOW_NUL | JSON_DECODE_ANY, &where));
  if (root == nullptr) {
    // Without the parser's words: they quote the file, which holds secrets.
    return Problem(path + " is not valid JSON: line " + std::to_string(where.line) + ", column " +
                   std::to_string(where.column));
  }
  if (!json_is_object(root.get())) {
    return Problem(path + " is not valid: line 1, column 1: not a JSON object");
  }
  object = std::move(root);
  return {};
}

}  // namespace host
