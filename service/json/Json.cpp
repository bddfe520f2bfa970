// SPDX-License-Identifier: Apache-2.0
// JSON texts: reading what was sent and what is stored, and writing both.
#include "service/json/Json.h"

#include <algorithm>
#include <iterator>

namespace cloudservice {

namespace {

[[noreturn]] void Malformed(const std::string& body, std::size_t offset, const std::string& what) {
  const auto end = body.begin() + static_cast<std::ptrdiff_t>(std::min(offset, body.size()));
  const auto line = static_cast<std::size_t>(std::count(body.begin(), end, '\n') + 1);
  const auto start = std::find(std::make_reverse_iterator(end), body.rend(), '\n');
  const std::string column = std::to_string(start - std::make_reverse_iterator(end) + 1);
  throw JsonError(JsonError::Kind::kSyntax, line,
                  "The body is not acceptable: line " + std::to_string(line) + ", column " +
                      column + ": " + what);
}

// Checks what the parser does not check: a NUL byte ends the text for the parser, it follows nested
// arrays and objects to any depth, and makes any number of values.
class ByteCheck {
 public:
  explicit ByteCheck(const std::string& body) : m_body(body) {}

  void Run() {
    bool quoted = false;
    for (std::size_t i = 0; i < m_body.size(); ++i) {
      const char c = m_body[i];
      if (c == '\0') Malformed(m_body, i, "a NUL byte");
      if (quoted) {
        if (c == '\\') ++i;
        if (c == '"') quoted = false;
        if (i < m_body.size() && m_body[i] == '\0') Malformed(m_body, i, "a NUL byte");
      } else {
        quoted = c == '"';
        TakeOutside(i, c);
      }
    }
  }

 private:
  // A byte outside of strings, the quotation mark before one included.
  void TakeOutside(std::size_t at, char c) {
    if (c == ' ' || c == '\t' || c == '\r' || c == '\n') return;
    const bool opens = c == '{' || c == '[';
    const bool closes = c == '}' || c == ']';
    // A value follows each comma, and each bracket that is not closed at once.
    if (c == ',' || (m_opened && !closes)) ++m_values;
    m_opened = opens;
    if (opens) ++m_depth;
    if (closes) --m_depth;
    if (m_depth > kMaxDepth) {
      Malformed(m_body, at, "nested deeper than " + std::to_string(kMaxDepth));
    }
    if (m_values > kMaxValues) {
      Malformed(m_body, at, "more than " + std::to_string(kMaxValues) + " values");
    }
  }

  const std::string& m_body;
  int m_depth = 0;
  bool m_opened = false;  // nothing stands behind the last bracket yet
  std::size_t m_values = 1;
};

// The reason from the parser's message, without the place and the quotation of the body in it.
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
    throw JsonError(JsonError::Kind::kEmpty, 0, "The body is empty; a JSON object is expected.");
  }
  ByteCheck(body).Run();
  try {
    Json document = Json::parse(body);
    if (document.is_object()) return document;
    throw JsonError(
        JsonError::Kind::kNoObject, 0,
        std::string("The body is a JSON ") + document.type_name() + "; an object is expected.");
  } catch (const Json::parse_error& error) {
    Malformed(body, error.byte == 0 ? 0 : error.byte - 1, Reason(error.what()));
  } catch (const Json::out_of_range&) {
    throw JsonError(JsonError::Kind::kNumberTooLarge, 0,
                    "The body is not acceptable: a number in it is too large.");
  }
}

Json ParseStored(const std::string& document) { return Json::parse(document); }

std::size_t CountValues(const Json& document) {
  std::size_t values = 1;
  if (!document.is_structured()) return values;
  for (const Json& part : document) values += CountValues(part);
  return values;
}

std::string CompactText(const Json& document) {
  return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string StoredText(const Json& document) { return document.dump(); }

std::optional<std::string> TextMember(const Json& object, const char* name) {
  const auto found = object.find(name);
  if (found == object.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

}  // namespace cloudservice
