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

// Arrays and objects inside one another, the outermost included.
constexpr int kMaxDepth = 32;

// Bytes of a document as it is stored, to which each PATCH may add.
constexpr std::size_t kMaxDocument = std::size_t{4} << 20;

// Bytes of an answer, counted in the views that it is made of.
constexpr std::size_t kMaxAnswer = std::size_t{8} << 20;

// Why a text is not taken as a JSON object. The text of the exception is a whole sentence about a
// body, with the place in it; it never quotes the body.
class JsonError : public std::runtime_error {
 public:
  enum class Kind { kEmpty, kSyntax, kNoObject, kNumberTooLarge };

  // `line`: where it is wrong, from 1; 0 where no place is.
  JsonError(Kind kind, std::size_t line, const std::string& text)
      : std::runtime_error(text), m_kind(kind), m_line(line) {}

  Kind What() const { return m_kind; }
  std::size_t Line() const { return m_line; }

 private:
  Kind m_kind;
  std::size_t m_line;
};

// A request's body as a JSON object. Throws JsonError that says what is wrong and in which line and
// column (both from 1, columns in bytes): not JSON, not UTF-8, a NUL byte, too deep, no object.
Json ParseObject(const std::string& body);

// A document that this service has stored.
Json ParseStored(const std::string& document);

// The text of a document as it is answered: no white space between its parts, before or behind it.
// Bytes that are no UTF-8 are replaced.
std::string CompactText(const Json& document);

// The text of a document as it is stored.
std::string StoredText(const Json& document);

// The member where it is a string; none also when `object` is no object.
std::optional<std::string> TextMember(const Json& object, const char* name);

}  // namespace cloudservice

#endif  // SERVICE_JSON_JSON_H_
