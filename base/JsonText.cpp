// SPDX-License-Identifier: Apache-2.0
// Texts out of JSON values.
#include "base/JsonText.h"

namespace cloudclient {

std::string JsonText(const json_t* value) {
  if (!json_is_string(value)) return {};
  return {json_string_value(value), json_string_length(value)};
}

std::string JsonMemberText(const json_t* object, const char* key) {
  return JsonText(json_object_get(object, key));
}

}  // namespace cloudclient
