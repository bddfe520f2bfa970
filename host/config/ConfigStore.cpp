// SPDX-License-Identifier: Apache-2.0
// One configuration file: its values in memory, reading it again, saving it.
#include "host/config/ConfigStore.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

#include "host/util/Files.h"
#include "host/util/JsonFile.h"
#include "host/util/Log.h"
#include "host/util/Secrets.h"
#include "host/util/UnknownKeys.h"

namespace host {
namespace {

JsonRef Copy(const json_t* value) {
  JsonRef copy(json_deep_copy(value));
  if (copy == nullptr) throw std::bad_alloc();
  return copy;
}

void Apply(json_t* root, const std::string& key, const std::string& member, const json_t* value) {
  json_t* target = root;
  const char* name = key.c_str();
  if (!member.empty()) {
    target = json_object_get(root, key.c_str());
    if (!json_is_object(target)) {
      PutJson(root, key.c_str(), JsonRef(json_object()));
      target = json_object_get(root, key.c_str());
    }
    name = member.c_str();
  }
  if (value == nullptr) {
    json_object_del(target, name);
  } else {
    PutJson(target, name, Copy(value));
  }
}

// The keys of either object whose values differ.
std::vector<std::string> Differences(json_t* before, json_t* after) {
  std::vector<std::string> keys;
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(after, key, value) {
    json_t* old = json_object_get(before, key);
    if (old == nullptr || !json_equal(old, value)) keys.push_back(key);
  }
  json_object_foreach(before, key, value) {
    if (json_object_get(after, key) == nullptr) keys.push_back(key);
  }
  return keys;
}

bool HoldsNul(const std::string& text) { return text.find('\0') != std::string::npos; }

// What is wrong with a key's value, and with those of the objects with names of their own in it.
Problem Check(const JsonKey& key, const json_t* value) {
  const std::string name = "\"" + std::string(key.name) + "\"";
  if (Problem problem = CheckJson(key, value)) return Problem(name + " " + problem.Text());
  if (key.type != JsonKey::Type::kNamedObjects) return {};
  // jansson iterates over its objects only without const.
  auto* object = const_cast<json_t*>(value);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  const char* member = nullptr;
  json_t* entry = nullptr;
  json_object_foreach(object, member, entry) {
    for (const JsonKey& inner : key.inner) {
      const Problem problem = CheckJson(inner, json_object_get(entry, inner.name));
      if (!problem) continue;
      return Problem("\"" + std::string(inner.name) + "\" of \"" + member + "\" in " + name + " " +
                     problem.Text());
    }
  }
  return {};
}

std::string FileText(const json_t* root) { return DumpedJson(root, JSON_INDENT(2)) + "\n"; }

}  // namespace

ConfigStore::ConfigStore(std::string path, std::vector<Key> keys, int lockWaitMs)
    : m_path(std::move(path)),
      m_keys(std::move(keys)),
      m_lockWaitMs(lockWaitMs),
      m_current(json_object()) {
  if (m_current == nullptr) throw std::bad_alloc();
  Reload();
  m_changes.clear();
}

// Reads the file and takes over what it holds. A file that is missing holds nothing to take over.
Problem ConfigStore::Refresh(Lines& lines) {
  const MutexLock reading(m_readMutex);
  JsonRef stored;
  if (Problem problem = ReadJsonObject(m_path, stored)) {
    return problem.Errno() == ENOENT ? Problem() : problem;
  }
  const MutexLock guard(m_mutex);
  AdoptLocked(stored.get(), lines);
  return {};
}

bool ConfigStore::Reload() {
  Lines lines;
  const Problem problem = Refresh(lines);
  const std::string text = problem ? problem.Text() + "; the values in use stay" : "";
  {
    const MutexLock guard(m_mutex);
    if (problem && text != m_reported) lines.push_back({false, text});
    m_reported = text;
  }
  Log(lines);
  return !problem;
}

bool ConfigStore::Save() {
  Lines lines;
  Problem warning;
  const Problem problem = Write(warning, lines);
  Log(lines);
  if (problem) HOST_LOG(3, "%s is not saved: %s", m_path.c_str(), problem.Text().c_str());
  if (warning) HOST_LOG(4, "%s is saved, but %s", m_path.c_str(), warning.Text().c_str());
  return !problem;
}

// What keeps the file from being written.
Problem ConfigStore::Write(Problem& warning, Lines& lines) {
  std::string path = m_path;
  if (Problem problem = FollowLinks(path)) return problem;
  if (Problem problem = MakeFolders(FolderOf(path))) return problem;
  const Ownership ownership = OwnershipOf(path);
  const FileLock lock(path + ".lock", m_lockWaitMs, ownership);
  if (lock.Failure().Errno() == ETIMEDOUT) return Problem("another process keeps its lock");
  if (lock.Failure()) return lock.Failure().With(path + ".lock");
  RemoveTemporaries(path);

  if (Problem problem = Refresh(lines)) return problem;
  std::string text;
  unsigned long serial = 0;
  {
    const MutexLock guard(m_mutex);
    text = FileText(m_current.get());
    serial = m_lastSerial;
  }
  if (Problem problem = ReplaceFile(path, ownership, text, warning)) return problem;

  const MutexLock reading(m_readMutex);
  const MutexLock guard(m_mutex);
  m_edits.remove_if([serial](const Edit& edit) { return edit.serial <= serial; });
  m_reported.clear();
  return {};
}

std::vector<std::string> ConfigStore::TakeChanges() {
  const MutexLock guard(m_mutex);
  return std::exchange(m_changes, {});
}

std::string ConfigStore::Text(const char* key) const {
  const MutexLock guard(m_mutex);
  const std::string text = JsonText(json_object_get(m_current.get(), key));
  // A request that holds a NUL byte would never end: its length counts what is not sent.
  return HoldsNul(text) ? std::string() : text;
}

bool ConfigStore::Flag(const char* key) const {
  const MutexLock guard(m_mutex);
  return json_is_true(json_object_get(m_current.get(), key));
}

JsonRef ConfigStore::Object(const char* key) const {
  const MutexLock guard(m_mutex);
  const json_t* value = json_object_get(m_current.get(), key);
  return json_is_object(value) ? Copy(value) : nullptr;
}

Problem ConfigStore::SetText(const char* key, const std::string& text) {
  JsonRef value = JsonString(text);
  if (value == nullptr) return Problem("is not UTF-8");
  if (HoldsNul(text)) return Problem("holds a NUL byte");
  const MutexLock guard(m_mutex);
  SetLocked(key, "", std::move(value));
  return {};
}

void ConfigStore::SetFlag(const char* key, bool flag) {
  const MutexLock guard(m_mutex);
  SetLocked(key, "", JsonRef(json_boolean(flag)));
}

Problem ConfigStore::SetMember(const char* key, const std::string& member, JsonRef value) {
  if (member.empty()) return Problem("is empty");
  if (HoldsNul(member)) return Problem("holds a NUL byte");
  if (JsonString(member) == nullptr) return Problem("is not UTF-8");
  const MutexLock guard(m_mutex);
  SetLocked(key, member, std::move(value));
  return {};
}

void ConfigStore::ClearObject(const char* key) {
  const MutexLock guard(m_mutex);
  SetLocked(key, "", JsonRef(json_object()));
}

void ConfigStore::SetLocked(const std::string& key, const std::string& member, JsonRef value) {
  Apply(m_current.get(), key, member, value.get());
  m_edits.remove_if([&](const Edit& edit) {
    return edit.key == key && (member.empty() || edit.member == member);
  });
  m_edits.push_back(Edit{++m_lastSerial, key, member, std::move(value)});
  KeepSecretsLocked();
}

void ConfigStore::KeepSecretsLocked() const {
  for (const Key& key : m_keys) {
    if (key.form != Form::kSecret) continue;
    KeepSecret(JsonText(json_object_get(m_current.get(), key.json.name)));
  }
}

// Takes over what the file holds, below what was set here and is not saved yet.
void ConfigStore::AdoptLocked(const json_t* stored, Lines& lines) {
  JsonRef next = Copy(stored);
  for (const Edit& edit : m_edits) Apply(next.get(), edit.key, edit.member, edit.value.get());
  for (std::string& key : Differences(m_current.get(), next.get())) {
    if (std::find(m_changes.begin(), m_changes.end(), key) == m_changes.end()) {
      m_changes.push_back(std::move(key));
    }
  }
  m_current = std::move(next);
  KeepSecretsLocked();
  CheckKeysLocked(stored, lines);
}

void ConfigStore::CheckKeysLocked(const json_t* stored, Lines& lines) {
  const std::set<std::string> before = std::move(m_reportedKeys);
  std::set<std::string> reported;
  const auto report = [&](bool unknownKeys, const std::string& text) {
    if (before.count(text) == 0) lines.push_back({unknownKeys, text});
    reported.insert(text);
  };
  std::vector<JsonKey> keys;
  for (const Key& key : m_keys) {
    keys.push_back(key.json);
    const json_t* value = json_object_get(stored, key.json.name);
    if (value == nullptr) continue;
    const Problem problem = Check(key.json, value);
    if (problem) report(false, m_path + ": " + problem.Text() + "; it counts as absent");
  }
  const std::string unknown = UnknownKeysText(UnknownKeysOf(stored, keys));
  if (!unknown.empty()) report(true, unknown);
  m_reportedKeys = std::move(reported);
}

void ConfigStore::Log(const Lines& lines) const {
  for (const Line& line : lines) {
    if (line.unknownKeys) {
      HOST_LOG(4, "%s: keys that are not known are not used: %s", m_path.c_str(),
               line.text.c_str());
    } else {
      HOST_LOG(3, "%s", line.text.c_str());
    }
  }
}

}  // namespace host
