// SPDX-License-Identifier: Apache-2.0
// Bodies of requests: parsing them, checking their members, merging them into documents.
#include "service/redfish/Body.h"

#include <algorithm>

namespace cloudservice {

namespace {

BaseMessage MessageOf(const JsonError& error) {
  switch (error.What()) {
    case JsonError::Kind::kSyntax:
      return {"InvalidJSON", {std::to_string(error.Line())}};
    case JsonError::Kind::kNoObject:
      return {"UnrecognizedRequestBody", {}};
    case JsonError::Kind::kEmpty:
    case JsonError::Kind::kNumberTooLarge:
      break;
  }
  return {"MalformedJSON", {}};
}

}  // namespace

Json ParseBody(const std::string& body) {
  try {
    return ParseObject(body);
  } catch (const JsonError& error) {
    throw Refusal(400, MessageOf(error), error.what());
  }
}

std::string MergedText(const std::string& document, const Json& patch) {
  Json merged = ParseStored(document);
  const std::size_t before = CountValues(merged);
  merged.merge_patch(patch);
  const std::size_t values = CountValues(merged);
  // One that an older version has kept with more may still be changed.
  if (values > kMaxValues && values > before) {
    throw Refusal(413, "The document would grow to " + std::to_string(values) +
                           " values; it may have " + std::to_string(kMaxValues) + ".");
  }
  std::string text = StoredText(merged);
  if (text.size() > kMaxDocument) {
    throw Refusal(413, "The document would grow to " + std::to_string(text.size()) +
                           " bytes; it may have " + std::to_string(kMaxDocument) + ".");
  }
  return text;
}

std::optional<std::string> OptionalString(const Json& object, const std::string& name) {
  const auto found = object.find(name);
  if (found == object.end()) return std::nullopt;
  if (!found->is_string()) throw WrongType(name, *found, "\"" + name + "\" is no string.");
  const auto text = found->get<std::string>();
  const bool control = std::any_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
  });
  if (control) throw WrongValue(name, "\"" + name + "\" has a control character in it.");
  return text;
}

std::string RequiredString(const Json& object, const std::string& name) {
  std::optional<std::string> text = OptionalString(object, name);
  if (!text) throw Missing(name);
  if (text->empty()) throw WrongValue(name, "\"" + name + "\" is empty.");
  return *std::move(text);
}

Refusal Missing(const std::string& name) {
  return {400, {"PropertyMissing", {name}, "#/" + name}, "\"" + name + "\" is missing."};
}

Refusal WrongType(const std::string& name, const Json& value, const std::string& text) {
  // A longer value is not quoted: the refusal then has the message without the value.
  constexpr std::size_t kLongestQuoted = 64;
  const std::string shown = CompactText(value);
  if (shown.size() > kLongestQuoted) return WrongValue(name, text);
  return {400, {"PropertyValueTypeError", {shown, name}, "#/" + name}, text};
}

Refusal WrongValue(const std::string& name, const std::string& text) {
  return {400, {"PropertyValueError", {name}, "#/" + name}, text};
}

// A patch with any other member is accepted, also when it would change given members too.
void RefuseReadOnly(const Json& patch, const Json& given) {
  if (patch.empty()) return;
  std::string changed;
  for (const auto& [name, value] : patch.items()) {
    const auto known = given.find(name);
    if (known == given.end()) return;
    if (changed.empty() && *known != value) changed = name;
  }
  if (changed.empty()) return;
  throw Refusal(400, {"PropertyNotWritable", {changed}, "#/" + changed},
                "\"" + changed + "\" is given by the service.");
}

}  // namespace cloudservice
