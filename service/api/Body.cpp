// SPDX-License-Identifier: Apache-2.0
// The body of a request.
#include "service/api/Body.h"

#include <strings.h>

#include "service/api/Error.h"

namespace cloudservice {

namespace {

bool IsJson(const std::string& type) {
  static const std::string kJson = "application/json";
  const std::size_t end = type.find_first_of("; ");
  return strcasecmp(type.substr(0, end).c_str(), kJson.c_str()) == 0;
}

}  // namespace

Json BodyOf(const Request& request) {
  // A form on another site cannot send this type.
  if (!IsJson(request.Header("Content-Type"))) {
    throw ApiError(415, "The body has to be said to be application/json.");
  }
  try {
    return ParseObject(request.body);
  } catch (const JsonError& error) {
    throw ApiError(400, error.what());
  }
}

std::string RequiredText(const Json& body, const char* name) {
  const std::optional<std::string> text = TextMember(body, name);
  if (!text) throw ApiError(400, std::string("\"") + name + "\" is missing or no string.");
  return *text;
}

}  // namespace cloudservice
