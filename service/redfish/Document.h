// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_DOCUMENT_H_
#define SERVICE_REDFISH_DOCUMENT_H_

#include <cstddef>
#include <optional>
#include <string>

#include <nlohmann/json.hpp>

#include "service/redfish/Refusal.h"

namespace cloudservice {

using Json = nlohmann::json;

// Arrays and objects inside one another, the outermost included.
constexpr int kMaxDepth = 32;

// Bytes of a document as it is stored, to which each PATCH may add.
constexpr std::size_t kMaxDocument = std::size_t{4} << 20;

// Bytes of an answer, counted in the views that it is made of.
constexpr std::size_t kMaxAnswer = std::size_t{8} << 20;

// A request's body as a JSON object. Throws Refusal (400) that says what is wrong and in which line
// and column (both from 1, columns in bytes): not JSON, not UTF-8, a NUL byte, too deep, no object.
Json ParseObject(const std::string& body);

// A document that this service has stored.
Json ParseStored(const std::string& document);

// The text of a document as it is answered: no white space between its parts, before or behind it.
// Bytes that are no UTF-8 are replaced.
std::string CompactText(const Json& document);

// The text of a document as it is stored.
std::string StoredText(const Json& document);

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

// {"@odata.id": path}
Json Reference(const std::string& path);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_DOCUMENT_H_
