// SPDX-License-Identifier: Apache-2.0
#ifndef BASE_JSONTEXT_H_
#define BASE_JSONTEXT_H_

#include <jansson.h>

#include <memory>
#include <string>

namespace cloudclient {

// Owns one reference to a JSON value and releases it.
struct JsonRelease {
  void operator()(json_t* value) const { json_decref(value); }
};
using JsonRef = std::unique_ptr<json_t, JsonRelease>;

// The text of a JSON string; empty for null and for a value of another type.
std::string JsonText(const json_t* value);

// The text of `object`'s member `key`; empty when it is missing or no string, and when `object` is
// null or no object.
std::string JsonMemberText(const json_t* object, const char* key);

}  // namespace cloudclient

#endif  // BASE_JSONTEXT_H_
