// SPDX-License-Identifier: Apache-2.0
// Pins in the policy file.
#include "ctl/PinFile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "base/PolicyFile.h"
#include "host/util/Files.h"
#include "host/util/Json.h"

namespace ctl {

using host::Problem;

namespace {

constexpr char kGroup[] = "Transport";
constexpr char kKey[] = "PinnedPublicKey";

constexpr int kPolicyLockWaitMs = 5000;

Problem OfReading(const cloudclient::PolicyReading& reading) {
  return reading.problem.empty() ? Problem() : Problem(reading.problem);
}

std::vector<std::string> PinsIn(const cloudclient::Policy& policy) {
  std::vector<std::string> pins;
  const std::string& joined = policy.transport.pinnedPublicKeys;
  for (size_t begin = 0; begin < joined.size();) {
    const size_t end = std::min(joined.find(';', begin), joined.size());
    pins.push_back(joined.substr(begin, end - begin));
    begin = end + 1;
  }
  return pins;
}

// A pin by itself, several as an array.
host::JsonRef PinsValue(const std::vector<std::string>& pins) {
  if (pins.size() == 1) return host::JsonString(pins.front());
  host::JsonRef array(json_array());
  for (const std::string& pin : pins) {
    host::AppendJson(array.get(), host::JsonString(pin));
  }
  return array;
}

}  // namespace

Problem ReadPins(const std::string& path, std::vector<std::string>& pins) {
  const cloudclient::PolicyReading reading = cloudclient::ReadPolicy(path);
  pins = PinsIn(reading.policy);
  return OfReading(reading);
}

Problem WithPin(const std::string& path, const std::string& text, const std::string& pin,
                bool keepOthers, std::string& result) {
  const std::string before = text.empty() ? "{}" : text;
  const cloudclient::PolicyReading reading = cloudclient::ParsePolicy(path, before);
  if (Problem problem = OfReading(reading)) return problem;
  std::vector<std::string> pins;
  if (keepOthers) pins = PinsIn(reading.policy);
  pins.push_back(pin);

  const host::JsonRef root(json_loadb(before.data(), before.size(), 0, nullptr));
  json_t* group = json_object_get(root.get(), kGroup);
  if (group == nullptr) {
    host::PutJson(root.get(), kGroup, host::JsonRef(json_object()));
    group = json_object_get(root.get(), kGroup);
  }
  host::PutJson(group, kKey, PinsValue(pins));
  // 15 digits: a version of TLS that is written as a number stays what it is.
  const std::string after =
      host::DumpedJson(root.get(), JSON_INDENT(2) | JSON_REAL_PRECISION(15)) + "\n";
  if (Problem problem = OfReading(cloudclient::ParsePolicy(path, after))) return problem;
  result = after;
  return {};
}

Problem WritePin(const std::string& path, const std::string& pin, bool keepOthers,
                 Problem& warning) {
  std::string target = path;
  if (Problem problem = host::FollowLinks(target)) return problem.With(path);
  if (Problem problem = host::MakeFolders(host::FolderOf(target))) return problem.With(path);
  const host::Ownership ownership = host::OwnershipOf(target);
  const host::FileLock lock(target + ".lock", kPolicyLockWaitMs, ownership);
  if (lock.Failure().Errno() == ETIMEDOUT) {
    return Problem("another process keeps its lock").With(path);
  }
  if (lock.Failure()) return lock.Failure().With(target + ".lock");
  host::RemoveTemporaries(target);

  std::string text;
  const Problem unread = host::ReadFile(target, kLargestPolicy, text);
  if (unread && unread.Errno() != ENOENT) return unread.With(path);
  // Nothing but a missing file is no policy.
  if (!unread && text.empty()) text = " ";
  std::string result;
  if (Problem problem = WithPin(path, text, pin, keepOthers, result)) return problem;
  if (Problem problem = host::ReplaceFile(target, ownership, result, warning)) {
    return problem.With(path + " is not written");
  }
  return {};
}

Problem PutPolicyBack(const std::string& path, const std::optional<std::string>& text) {
  std::string target = path;
  if (Problem problem = host::FollowLinks(target)) return problem.With(path);
  const host::Ownership ownership = host::OwnershipOf(target);
  const host::FileLock lock(target + ".lock", kPolicyLockWaitMs, ownership);
  if (lock.Failure()) return lock.Failure().With(target + ".lock");
  if (!text) {
    return unlink(target.c_str()) == 0 ? Problem() : Problem::OfErrno(errno).With(path);
  }
  Problem warning;
  const Problem problem = host::ReplaceFile(target, ownership, *text, warning);
  return problem ? problem.With(path) : Problem();
}

}  // namespace ctl
