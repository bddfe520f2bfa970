// SPDX-License-Identifier: Apache-2.0
// Files of credentials: nobody's but their owner's.
#include "host/device/sources/Credentials.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "host/util/JsonFile.h"
#include "platform/util/LocalPath.h"

namespace host {

Problem ReadCredentials(const std::string& path, const std::vector<std::string>& keys,
                        JsonRef& credentials) {
  const std::string local = LocalPath(path);
  struct stat status = {};
  if (stat(local.c_str(), &status) != 0) return Problem::OfErrno(errno).With(local);
  if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    return Problem("others than its owner may use it: give it mode 0600").With(local);
  }
  JsonRef object;
  if (Problem problem = ReadJsonObject(local, object)) return problem;
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(object.get(), key, value) {
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
      return Problem("the key \"" + std::string(key) + "\" is not known").With(local);
    }
    const Problem problem = CheckJson({key, JsonKey::Type::kText}, value);
    if (problem) return Problem("\"" + std::string(key) + "\" " + problem.Text()).With(local);
  }
  credentials = std::move(object);
  return {};
}

}  // namespace host
