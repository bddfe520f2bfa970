// SPDX-License-Identifier: Apache-2.0
#include "service/redfish/Document.h"

#include <algorithm>

#include "service/redfish/Refusal.h"

namespace cloudservice {

namespace {

[[noreturn]] void Malformed(const std::string& body, std::size_t offset, const std::string& what) {
  const auto end = body.begin() + static_cast<std::ptrdiff_t>(std::min(offset, body.size()));
  const std::string line = std::to_string(std::count(body.begin(), end, '\n') + 1);
  const auto start = std::find(std::make_reverse_iterator(end), body.rend(), '\n');
  const std::string column = std::to_string(start - std::make_reverse_iterator(end) + 1);
  throw Refusal(400, {"InvalidJSON", {line}},
                "The body is not acceptable: line " + line + ", column " + column + ": " + what);
}

// What the parser does not look after: it takes a NUL byte for the end of the text, and goes as
// deep as it is led.
void CheckBytes(const std::string& body) {
  int depth = 0;
  bool quoted = false;
  for (std::size_t i = 0; i < body.size(); ++i) {
    const char c = body[i];
    if (c == '\0') Malformed(body, i, "a NUL byte");
    if (quoted) {
      if (c == '\\') ++i;
      if (c == '"') quoted = false;
      if (i < body.size() && body[i] == '\0') Malformed(body, i, "a NUL byte");
    } else if (c == '"') {
      quoted = true;
    } else if (c == '{' || c == '[') {
      if (++depth > kMaxDepth) {
        Malformed(body, i, "nested deeper than " + std::to_string(kMaxDepth));
      }
    } else if (c == '}' || c == ']') {
      --depth;
    }
  }
}

// The parser's reason without its own place and without a quotation of the text.
std::string Reason(const std::string& what) {
  std::string reason = what;
  const std::size_t quote = reason.find("; last read:");
  if (quote != std::string::npos) reason.resize(quote);
  const std::size_t place = reason.find("column ");
  const std::size_t colon = reason.find(": ", place == std::string::npos ? 0 : place);
  if (colon != std::string::npos) reason.erase(0, colon + 2);
  return reason;
}

}  // namespace

Json ParseObject(const std::string& body) {
  if (body.empty()) {
    throw Refusal(400, {"MalformedJSON", {}}, "The body is empty; a JSON object is expected.");
  }
  CheckBytes(body);
  try {
    Json document = Json::parse(body);
    if (!document.is_object()) {
      throw Refusal(
          400, {"UnrecognizedRequestBody", {}},
          std::string("The body is a JSON ") + document.type_name() + "; an object is expected.");
    }
    return document;
  } catch (const Json::parse_error& error) {
    Malformed(body, error.byte == 0 ? 0 : error.byte - 1, Reason(error.what()));
  } catch (const Json::out_of_range&) {
    throw Refusal(400, {"MalformedJSON", {}},
                  "The body is not acceptable: a number in it is too large.");
  }
}

Json ParseStored(const std::string& document) { return Json::parse(document); }

std::string CompactText(const Json& document) {
  return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string StoredText(const Json& document) { return document.dump(); }

std::string MergedText(const std::string& document, const Json& patch) {
  Json merged = ParseStored(document);
  merged.merge_patch(patch);
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
  // Of what is longer, the message that quotes nothing.
  constexpr std::size_t kLongestQuoted = 64;
  const std::string shown = CompactText(value);
  if (shown.size() > kLongestQuoted) return WrongValue(name, text);
  return {400, {"PropertyValueTypeError", {shown, name}, "#/" + name}, text};
}

Refusal WrongValue(const std::string& name, const std::string& text) {
  return {400, {"PropertyValueError", {name}, "#/" + name}, text};
}

Json Reference(const std::string& path) { return Json{{"@odata.id", path}}; }

}  // namespace cloudservice
