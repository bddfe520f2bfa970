// SPDX-License-Identifier: Apache-2.0
// Owning a JSON value; JSON texts of any bytes.
#ifndef HOST_UTIL_JSON_H_
#define HOST_UTIL_JSON_H_

#include <jansson.h>

#include <memory>
#include <string>

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

// The text of a JSON string; empty for null and for a value of another type.
inline std::string JsonText(const json_t* value) {
  return json_is_string(value) ? std::string(json_string_value(value), json_string_length(value))
                               : std::string();
}

}  // namespace host

#endif  // HOST_UTIL_JSON_H_
