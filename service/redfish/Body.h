// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_BODY_H_
#define SERVICE_REDFISH_BODY_H_

#include <optional>
#include <string>

#include "service/json/Json.h"
#include "service/redfish/Refusal.h"

namespace cloudservice {

// A request's body. Throws Refusal (400) for what ParseObject does not take.
Json ParseBody(const std::string& body);

// A stored document with a patch merged into it (RFC 7396), as it is stored. Throws Refusal (413)
// when that is longer than kMaxDocument.
std::string MergedText(const std::string& document, const Json& patch);

// The string `name` of `object`; none when it is missing. Throws Refusal (400) when it has another
// type, or control characters in it.
std::optional<std::string> OptionalString(const Json& object, const std::string& name);

// The same for a string that must be there and not be empty.
std::string RequiredString(const Json& object, const std::string& name);

// 400 for the member `name` of a body: it is not there; it has the type of `value`, which is none
// of its own; its value cannot be.
Refusal Missing(const std::string& name);
Refusal WrongType(const std::string& name, const Json& value, const std::string& text);
Refusal WrongValue(const std::string& name, const std::string& text);

// Throws Refusal (400) for a patch that would change members that the service gives, and nothing
// else.
void RefuseReadOnly(const Json& patch, const Json& given);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_BODY_H_
