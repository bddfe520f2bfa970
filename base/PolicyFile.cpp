// SPDX-License-Identifier: Apache-2.0
// The policy file: its keys, and the reading of one.
#include "base/PolicyFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "base/JsonPlace.h"
#include "base/PolicyKeys.h"

namespace cloudclient {
namespace {

constexpr size_t kLargestFile = 64UL * 1024;

using Path = std::vector<std::string>;

std::string Joined(const Path& path) {
  std::string name;
  for (const std::string& key : path) name += (name.empty() ? "" : ".") + key;
  return name;
}

const PolicyKey* KeyNamed(const std::string& name) {
  for (const PolicyKey& key : PolicyKeys()) {
    if (name == key.name) return &key;
  }
  return nullptr;
}

std::string Dumped(const json_t* value) {
  const std::unique_ptr<char, void (*)(void*)> text(json_dumps(value, JSON_ENCODE_ANY), &free);
  return text ? text.get() : "";
}

// Whether keys are named by this and more behind a point.
bool IsGroup(const std::string& name) {
  const std::string front = name + ".";
  return std::any_of(PolicyKeys().begin(), PolicyKeys().end(), [&front](const PolicyKey& key) {
    return std::strncmp(key.name, front.c_str(), front.size()) == 0;
  });
}

// One reading of a text.
class Reader {
 public:
  Reader(const std::string& path, const std::string& text) : m_path(path), m_text(text) {}

  void Read(PolicyReading& reading) {
    json_error_t where = {};
    m_root.reset(
        json_loadb(m_text.data(), m_text.size(), JSON_REJECT_DUPLICATES | JSON_DECODE_ANY, &where));
    if (!m_root) {
      // Without the parser's words: they quote the file, which may hold a password.
      const bool twice = json_error_code(&where) == json_error_duplicate_key;
      Refuse({static_cast<size_t>(where.line), static_cast<size_t>(where.column)},
             twice ? "a key stands twice" : "not valid JSON");
    } else if (!json_is_object(m_root.get())) {
      Refuse(PlaceInJson(m_text, {}, false), "not a JSON object");
    } else if (TakeObject(m_root.get(), {})) {
      SetAll(reading);
    }
    reading.problem = m_problem;
  }

 private:
  // Checks the members of an object of keys. False after a problem.
  bool TakeObject(const json_t* object, const Path& path) {
    // jansson iterates over its objects only without const.
    auto* iterated = const_cast<json_t*>(object);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
    const char* name = nullptr;
    json_t* value = nullptr;
    json_object_foreach(iterated, name, value) {
      Path inner = path;
      inner.emplace_back(name);
      if (!TakeMember(inner, value)) return false;
    }
    return true;
  }

  bool TakeMember(const Path& path, const json_t* value) {
    const std::string name = Joined(path);
    // A point in the file's own text would name a key past its group.
    const bool plain = !path.back().empty() && path.back().find('.') == std::string::npos;
    if (const PolicyKey* const key = plain ? KeyNamed(name) : nullptr) {
      std::string element;
      const std::string wrong = CheckPolicyValue(*key, value, element);
      if (wrong.empty()) {
        m_taken.push_back({key, path, value});
        return true;
      }
      Path place = path;
      if (!element.empty()) place.push_back(element);
      return RefuseAt(place, false, name, wrong);
    }
    if (!plain || !IsGroup(name)) return RefuseAt(path, true, name, "is not a key of the policy");
    if (!json_is_object(value)) return RefuseAt(path, false, name, "is not an object");
    return TakeObject(value, path);
  }

  // Puts together what the preset, wherever it stands, and the single keys say.
  void SetAll(PolicyReading& reading) {
    const bool hardened = JsonMemberText(m_root.get(), kPresetKey) == kHardened;
    Policy policy;
    std::vector<PolicyValue> values = DefaultPolicyValues();
    for (size_t i = 0; i < PolicyKeys().size(); ++i) {
      const PolicyKey& key = PolicyKeys()[i];
      if (const Taken* const taken = TakenOf(key.name)) {
        key.set(policy, taken->value);
        values[i].value = Dumped(taken->value);
        values[i].origin = PolicyValue::Origin::kFile;
      } else if (hardened && key.hardened != nullptr) {
        key.set(policy, JsonRef(json_loads(key.hardened, JSON_DECODE_ANY, nullptr)).get());
        values[i].value = key.hardened;
        values[i].origin = PolicyValue::Origin::kPreset;
      }
    }
    for (const PolicyContradiction& contradiction : PolicyContradictions()) {
      const Taken* const taken = TakenOf(contradiction.key);
      if (taken != nullptr && contradiction.holds(policy)) {
        RefuseAt(taken->path, true, contradiction.key, contradiction.what);
        return;
      }
    }
    reading.policy = policy;
    reading.values = values;
  }

  struct Taken {
    const PolicyKey* key;
    Path path;
    const json_t* value;
  };

  const Taken* TakenOf(const char* name) const {
    for (const Taken& taken : m_taken) {
      if (std::strcmp(taken.key->name, name) == 0) return &taken;
    }
    return nullptr;
  }

  bool RefuseAt(const Path& path, bool ofKey, const std::string& name, const std::string& what) {
    Refuse(PlaceInJson(m_text, path, ofKey), "\"" + name + "\" " + what);
    return false;
  }
  void Refuse(const TextPlace& place, const std::string& what) {
    m_problem = m_path + ": line " + std::to_string(place.line) + ", column " +
                std::to_string(place.column) + ": " + what;
  }

  const std::string& m_path;
  const std::string& m_text;
  JsonRef m_root;
  std::vector<Taken> m_taken;  // in the file's order
  std::string m_problem;
};

// False, with the system's reason, when the file can't be read.
bool ReadText(const std::string& path, std::string& text, int& error) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "re"), &fclose);
  error = errno;
  if (!file) return false;
  text.resize(kLargestFile + 1);
  text.resize(fread(text.data(), 1, text.size(), file.get()));
  error = errno;
  return ferror(file.get()) == 0;
}

// Whether nothing has this name: a link whose file is missing has.
bool IsMissing(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

}  // namespace

std::vector<PolicyValue> DefaultPolicyValues() {
  std::vector<PolicyValue> values;
  for (const PolicyKey& key : PolicyKeys()) {
    values.push_back({key.name, key.standard, PolicyValue::Origin::kDefault, key.secret});
  }
  return values;
}

PolicyReading ReadPolicy(const std::string& path) {
  PolicyReading reading;
  std::string text;
  int error = 0;
  if (!ReadText(path, text, error)) {
    reading.exists = error != ENOENT || !IsMissing(path);
    if (reading.exists) reading.problem = path + " cannot be read: " + std::strerror(error);
    return reading;
  }
  if (text.size() > kLargestFile) {
    reading.exists = true;
    reading.problem = path + " is longer than " + std::to_string(kLargestFile) + " bytes";
    return reading;
  }
  return ParsePolicy(path, text);
}

PolicyReading ParsePolicy(const std::string& path, const std::string& text) {
  PolicyReading reading;
  reading.exists = true;
  Reader(path, text).Read(reading);
  return reading;
}

}  // namespace cloudclient
