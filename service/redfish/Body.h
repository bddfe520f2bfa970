// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_BODY_H_
#define SERVICE_REDFISH_BODY_H_

#include <optional>
#include <string>

#include "service/json/Json.h"
#include "service/redfish/Refusal.h"

namespace cloudservice {

// Parses a request's body. Throws Refusal (400) for a body that ParseObject() refuses.
Json ParseBody(const std::string& body);

// Merges a patch into a stored document (RFC 7396) and returns the text to be stored. Throws
// Refusal (413) when that is longer than kMaxDocument.
std::string MergedText(const std::string& document, const Json& patch);

// The string member `name` of `object`; none when it is missing. Throws Refusal (400) when it has
// another type, or control characters in it.
std::optional<std::string> OptionalString(const Json& object, const std::string& name);

// The string member `name` of `object`. Throws Refusal (400) as OptionalString(), and when the
// member is missing or empty.
std::string RequiredString(const Json& object, const std::string& name);

// Refusals with status 400 for the member `name` of a body: it is missing; its value has a type
// that it must not have; its value is not possible. `text` says so to the sender.
Refusal Missing(const std::string& name);
Refusal WrongType(const std::string& name, const Json& value, const std::string& text);
Refusal WrongValue(const std::string& name, const std::string& text);

// `given` holds the members that the service sets itself, with their values. Throws Refusal (400)
// for a patch that would change one of them and has no other members.
void RefuseReadOnly(const Json& patch, const Json& given);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_BODY_H_
