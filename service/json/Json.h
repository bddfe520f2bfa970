// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_JSON_JSON_H_
#define SERVICE_JSON_JSON_H_

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>

#include <nlohmann/json.hpp>

namespace cloudservice {

using Json = nlohmann::json;

// Levels of nested arrays and objects in a body, the outermost included.
constexpr int kMaxDepth = 32;

// Values of a body, a stored document and an answer: each takes memory, however few bytes it has.
constexpr std::size_t kMaxValues = 100'000;
constexpr std::size_t kMaxAnswerValues = 2 * kMaxValues;

// Bytes of a stored document. Each PATCH may make a document longer, up to this.
constexpr std::size_t kMaxDocument = std::size_t{4} << 20;

// Bytes of an answer, counted as the sum of the views in it.
constexpr std::size_t kMaxAnswer = std::size_t{8} << 20;

// Says why a text is not accepted as a JSON object. what() is a whole sentence about a request's
// body and names the place in it; it never quotes the body.
class JsonError : public std::runtime_error {
 public:
  enum class Kind { kEmpty, kSyntax, kNoObject, kNumberTooLarge };

  // `line`: the line with the fault, from 1; 0 when the fault has no place.
  JsonError(Kind kind, std::size_t line, const std::string& text)
      : std::runtime_error(text), m_kind(kind), m_line(line) {}

  Kind What() const { return m_kind; }
  std::size_t Line() const { return m_line; }

 private:
  Kind m_kind;
  std::size_t m_line;
};

// Parses a request's body, which must be a JSON object. Throws JsonError that says what is wrong
// and at which line and column (both from 1, columns in bytes): the body is not JSON, is not UTF-8,
// has a NUL byte, is nested deeper than kMaxDepth, has more than kMaxValues values, or is no
// object.
Json ParseObject(const std::string& body);

// Parses a document that this service has stored.
Json ParseStored(const std::string& document);

// The number of values in a document, itself and all that is inside it.
std::size_t CountValues(const Json& document);

// The text of a document as an answer carries it: without white space between its parts, before or
// after it. Bytes that are not UTF-8 are replaced.
std::string CompactText(const Json& document);

// The text of a document as the store keeps it.
std::string StoredText(const Json& document);

// The value of the member `name` if it is a string; none otherwise, also when `object` is no
// object.
std::optional<std::string> TextMember(const Json& object, const char* name);

}  // namespace cloudservice

#endif  // SERVICE_JSON_JSON_H_
