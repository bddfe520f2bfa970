// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_TARGET_H_
#define SERVICE_HTTP_TARGET_H_

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cloudservice {

// A request's target, parsed once, when the request has arrived. A target that is not a path of the
// accepted form has neither segments nor a query.
class Target {
 public:
  // The target of a request that could not be read: empty.
  Target() = default;
  // Parses "/path?query" or "http://host/path?query".
  Target(std::string text);  // NOLINT(google-explicit-constructor): a target is its text
  Target(const char* text) : Target(std::string(text)) {}  // NOLINT(google-explicit-constructor)

  // The target as it was sent.
  const std::string& Text() const { return m_text; }
  bool IsPath() const { return m_isPath; }
  // The path's segments, percent-decoded. No segment is empty, "." or "..", or has a slash or a
  // control byte in it. One slash at the end of the path is ignored.
  const std::vector<std::string>& Segments() const { return m_segments; }
  // The query: the text after the first "?", as it was sent.
  const std::string& Query() const { return m_query; }

  // The path without its last `segments` segments and without a query.
  Target Above(std::size_t segments) const;

  // The segments joined to a path, percent-encoded where necessary. Two spellings of a path give
  // the same text.
  std::string Path() const;
  // The value of the first parameter `name` in the query, percent-decoded; as it was sent when it
  // cannot be decoded. None when there is no such parameter.
  std::optional<std::string> Value(const std::string& name) const;
  // The names and values of the query, percent-decoded. None when a name or a value cannot be
  // decoded, or when a piece other than "pretty" has no "=". A "+" is a plus.
  std::optional<std::vector<std::pair<std::string, std::string>>> Parameters() const;
  // The parameters whose names begin with "$", and "pretty"; the others need not be decodable. A
  // value that cannot be decoded is given as it was sent, a missing value as an empty one.
  std::vector<std::pair<std::string, std::string>> Options() const;
  // Whether the answer's JSON is to be indented: the query has "pretty=true" or "pretty".
  bool Pretty() const;
  // The target for the log: the path, and the query up to the first parameter that may hold a
  // secret.
  std::string Loggable() const;

 private:
  bool Parse();

  std::string m_text;
  std::vector<std::string> m_segments;
  std::string m_query;
  bool m_isPath = false;
};

// The target without scheme and host if it has the form "http://host/path"; any other unchanged.
std::string WithoutAuthority(const std::string& text);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_TARGET_H_
