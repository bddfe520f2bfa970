// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_JSONREADER_H_
#define HOST_UTIL_JSONREADER_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/util/Json.h"
#include "host/util/JsonKeys.h"

namespace host {

// Reads the members of one object by its table of keys. What is wrong with a member is added to
// `problems`, with the object's place, and the member counts as absent:
// `"Scale" in "Source" of "Points"[0] is not a number`. Borrows all that it is given.
class JsonReader {
 public:
  JsonReader(const json_t* object, const std::vector<JsonKey>& keys, std::string where,
             std::vector<std::string>& problems);

  // What follows a key's name in a problem: ` in "Source" of "Points"[0]`.
  const std::string& Where() const { return m_where; }
  const json_t* Object() const { return m_object; }

  // Whether the object holds the key, with whatever value.
  bool Holds(const char* key) const { return AnyValue(key) != nullptr; }
  // Whatever the key's value is; null when there is none.
  const json_t* AnyValue(const char* key) const { return json_object_get(m_object, key); }
  // The value, if it is what the table asks for; else null, and a problem unless there is none.
  const json_t* Value(const char* key) const;

  std::string Text(const char* key) const { return JsonText(Value(key)); }
  int64_t Integer(const char* key, int64_t otherwise) const;
  double Number(const char* key, double otherwise) const;
  // The number that names the object; 0, and a problem, when there is none.
  uint16_t Identity(const char* key) const;

  // A reader of the object that is the key's value; none, and a problem, of another value. By the
  // key's own table, or by another one.
  std::optional<JsonReader> Inner(const char* key) const;
  std::optional<JsonReader> Inner(const char* key, const std::vector<JsonKey>& keys) const;
  // A reader of the same object by another table.
  JsonReader By(const std::vector<JsonKey>& keys) const;

  // Calls `take` with a reader of each object in the array that is the key's value.
  template <typename Take>
  void ForEach(const char* key, const Take& take) const {
    const json_t* const array = Value(key);
    for (size_t i = 0; i < json_array_size(array); ++i) {
      const std::string place = "[" + std::to_string(i) + "]";
      TakeElement(key, json_array_get(array, i), " of " + Quoted(key) + place, place, take);
    }
  }

  // Calls `take` with the name, and a reader, of each object in the object that is the key's value.
  template <typename Take>
  void ForEachNamed(const char* key, const Take& take) const {
    // jansson iterates over its objects only without const.
    auto* object =
        const_cast<json_t*>(Value(key));  // NOLINT(cppcoreguidelines-pro-type-const-cast)
    const char* name = nullptr;
    json_t* element = nullptr;
    json_object_foreach(object, name, element) {
      const std::string its(name);
      TakeElement(key, element, " in " + Quoted(name) + " of " + Quoted(key), "." + its,
                  [&](const JsonReader& reader) { take(its, reader); });
    }
  }

  void Wrong(const std::string& key, const std::string& what) const;

 private:
  static std::string Quoted(const std::string& name) { return "\"" + name + "\""; }

  template <typename Take>
  void TakeElement(const char* key, const json_t* element, const std::string& place,
                   const std::string& tail, const Take& take) const {
    if (json_is_object(element)) {
      take(JsonReader(element, KeyOf(m_keys, key).inner, place + m_where, m_problems));
    } else {
      Wrong(key, tail + " is not an object");
    }
  }

  const json_t* m_object;
  const std::vector<JsonKey>& m_keys;
  std::string m_where;
  std::vector<std::string>& m_problems;
};

}  // namespace host

#endif  // HOST_UTIL_JSONREADER_H_
