// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_TARGET_H_
#define SERVICE_HTTP_TARGET_H_

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cloudservice {

// A request's target: read once, when the request has arrived. What is no path of this service's
// kind has neither segments nor a query.
class Target {
 public:
  // That of a request that could not be read.
  Target() = default;
  // Takes "/path?query" and "http://host/path?query".
  Target(std::string text);  // NOLINT(google-explicit-constructor): a target is its text
  Target(const char* text) : Target(std::string(text)) {}  // NOLINT(google-explicit-constructor)

  // As it came.
  const std::string& Text() const { return m_text; }
  bool IsPath() const { return m_isPath; }
  // The path's segments, percent-decoded; none of them empty, "." or "..", none with a slash or a
  // control byte. One slash at the end of the path counts for nothing.
  const std::vector<std::string>& Segments() const { return m_segments; }
  // After the first "?", as it came.
  const std::string& Query() const { return m_query; }

  // The path without its last segments and without a query.
  Target Above(std::size_t segments) const;

  // The segments as a path again, percent-encoded where it needs to be: one text a path, however it
  // was written in the request.
  std::string Path() const;
  // The first value named `name` in the query, percent-decoded; as it came when that is impossible.
  std::optional<std::string> Value(const std::string& name) const;
  // Names and values of the query, percent-decoded; none when that is impossible or a piece has no
  // "=" and is not "pretty". A "+" is a plus.
  std::optional<std::vector<std::pair<std::string, std::string>>> Parameters() const;
  // Those of them whose name begins with "$", and "pretty", whatever the others are like. A value
  // that cannot be decoded is given as it came, a missing one as an empty one.
  std::vector<std::pair<std::string, std::string>> Options() const;
  // Whether the answer's JSON is to be indented: "pretty" is "true", as it is without a value.
  bool Pretty() const;
  // For the log: the path, and of the query only what is known to hold no secret.
  std::string Loggable() const;

 private:
  bool Parse();

  std::string m_text;
  std::vector<std::string> m_segments;
  std::string m_query;
  bool m_isPath = false;
};

// A target of the form "http://host/path" without its scheme and host; any other as it is.
std::string WithoutAuthority(const std::string& text);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_TARGET_H_
