// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_JSONKEYS_H_
#define HOST_UTIL_JSONKEYS_H_

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "host/util/Json.h"
#include "host/util/Problem.h"

namespace host {

// A key of an object in a JSON file, and what its value has to be. A file's keys stand in one
// table, by which it is read and its unknown keys are found.
struct JsonKey {
  enum class Type {
    kText,          // without a NUL byte, of at most `high` bytes; of any length when that is 0
    kFlag,          // true or false
    kTrue,          // true
    kInteger,       // of `low` to `high`; any when these are the same
    kNumber,        // integer or not
    kTextOrNumber,  // of any length
    kTexts,         // an array of texts, each as kText, at least one
    kNamedTexts,    // an object whose members, of any name, are such texts
    kObject,        // with the keys of `inner`
    kObjects,       // an array of such objects
    kNamedObjects,  // an object whose members, of any name, are such objects
    kOpenObject,    // whose keys stand in another table
  };

  JsonKey(const char* itsName, Type itsType, int64_t itsLow = 0, int64_t itsHigh = 0)
      : name(itsName), type(itsType), low(itsLow), high(itsHigh) {}
  JsonKey(const char* itsName, Type itsType, std::vector<JsonKey> itsInner)
      : name(itsName), type(itsType), inner(std::move(itsInner)) {}

  const char* name;
  Type type;
  int64_t low = 0;
  int64_t high = 0;
  std::vector<JsonKey> inner;
};

// The key of that name, which the table must hold.
const JsonKey& KeyOf(const std::vector<JsonKey>& keys, const char* name);

// Whether a value is what its key asks for, its inner keys not looked at; the words of the problem
// follow the key's name.
Problem CheckJson(const JsonKey& key, const json_t* value);

// The keys of an object that the table does not hold, as UnknownKeys tells them, then those of the
// objects in it, each with its place: `"Scal" (is "Scale" meant?) in "Source" of "Points"[0]`. What
// is in objects with names of their own is not looked at.
std::vector<std::string> UnknownKeysOf(const json_t* object, const std::vector<JsonKey>& keys);

}  // namespace host

#endif  // HOST_UTIL_JSONKEYS_H_
