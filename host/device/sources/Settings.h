// SPDX-License-Identifier: Apache-2.0
// What modules share in reading their settings.
#ifndef HOST_DEVICE_SOURCES_SETTINGS_H_
#define HOST_DEVICE_SOURCES_SETTINGS_H_

#include <cstdint>
#include <new>
#include <string>
#include <vector>

#include "host/device/sources/SourceModule.h"
#include "host/util/Json.h"

namespace host {

// The settings of a connection, a point or an event, whose types the engine has looked at.
class Settings {
 public:
  explicit Settings(const std::string& text)
      : m_object(json_loadb(text.data(), text.size(), JSON_ALLOW_NUL, nullptr)) {
    if (m_object == nullptr) throw std::bad_alloc();
  }

  const json_t* Value(const char* key) const { return json_object_get(m_object.get(), key); }
  bool Holds(const char* key) const { return Value(key) != nullptr; }
  std::string Text(const char* key) const { return JsonText(Value(key)); }
  int64_t Integer(const char* key, int64_t otherwise) const {
    return Holds(key) ? json_integer_value(Value(key)) : otherwise;
  }
  bool Flag(const char* key, bool otherwise) const {
    return Holds(key) ? json_is_true(Value(key)) : otherwise;
  }
  std::vector<std::string> Texts(const char* key) const {
    std::vector<std::string> texts;
    const json_t* const array = Value(key);
    for (size_t i = 0; i < json_array_size(array); ++i) {
      texts.push_back(JsonText(json_array_get(array, i)));
    }
    return texts;
  }

  // The text, which has to be there.
  std::string Needed(const char* key, SettingFaults& faults) const {
    std::string text = Text(key);
    if (text.empty()) faults.push_back({key, Holds(key) ? "is empty" : "is missing"});
    return text;
  }

 private:
  JsonRef m_object;
};

// The keys by which a connection is given the engine's limits.
inline JsonKey TimeoutKey() { return {"TimeoutSeconds", JsonKey::Type::kInteger, 1, 3600}; }
inline JsonKey RetriesKey() { return {"Retries", JsonKey::Type::kInteger, 0, 10}; }

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_SETTINGS_H_
