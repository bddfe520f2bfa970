// SPDX-License-Identifier: Apache-2.0
// Owning a JSON value; JSON texts of any bytes.
#ifndef HOST_UTIL_JSON_H_
#define HOST_UTIL_JSON_H_

#include <jansson.h>

#include <exception>
#include <memory>
#include <new>
#include <string>
#include <utility>

namespace host {

// Owns one reference to a JSON value and releases it.
struct JsonRelease {
  void operator()(json_t* value) const { json_decref(value); }
};
using JsonRef = std::unique_ptr<json_t, JsonRelease>;

// A JSON string of any bytes that are UTF-8, NUL included; null for others.
inline JsonRef JsonString(const std::string& text) {
  return JsonRef(json_stringn(text.data(), text.size()));
}

// A JSON string of a text that perhaps is not UTF-8, which JSON has to be: its other bytes are then
// "?".
inline JsonRef AnyText(std::string text) {
  JsonRef value = JsonString(text);
  if (value != nullptr) return value;
  for (char& c : text) {
    if (static_cast<signed char>(c) < 0) c = '?';
  }
  return JsonString(text);
}

// Adds a value that was just made. Throws std::bad_alloc where it could not be made or is not
// taken: jansson has nothing else to refuse it for, the texts are UTF-8.
inline void PutJson(json_t* object, const char* key, JsonRef made) {
  if (json_object_set_new(object, key, made.release()) != 0) throw std::bad_alloc();
}
inline void AppendJson(json_t* array, JsonRef made) {
  if (json_array_append_new(array, made.release()) != 0) throw std::bad_alloc();
}

// The text of a value, by jansson's flags. Throws std::bad_alloc. With json_dumps a name would be
// missing for which there was no memory: jansson does not look whether a name was taken.
inline std::string DumpedJson(const json_t* value, size_t flags) {
  struct Sink {
    std::string text;
    bool failed = false;
  } sink;
  const auto append = [](const char* bytes, size_t size, void* into) {
    auto& taken = *static_cast<Sink*>(into);
    try {
      taken.text.append(bytes, size);
    } catch (const std::exception&) {
      taken.failed = true;
    }
    return taken.failed ? -1 : 0;
  };
  if (json_dump_callback(value, append, &sink, flags) != 0 || sink.failed) throw std::bad_alloc();
  return std::move(sink.text);
}

// The text of a JSON string; empty for null and for a value of another type.
inline std::string JsonText(const json_t* value) {
  return json_is_string(value) ? std::string(json_string_value(value), json_string_length(value))
                               : std::string();
}

}  // namespace host

#endif  // HOST_UTIL_JSON_H_
