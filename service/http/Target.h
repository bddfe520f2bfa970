// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_TARGET_H_
#define SERVICE_HTTP_TARGET_H_

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace cloudservice {

// What a request's target names.
struct Target {
  // The path's segments, percent-decoded; none of them empty, "." or "..", none with a slash or a
  // control byte. One slash at the end of the path counts for nothing.
  std::vector<std::string> segments;
  std::string query;  // after the first "?", as it came

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
};

// A target of the form "http://host/path" without its scheme and host; any other as it is.
std::string WithoutAuthority(const std::string& text);

// Without a value when the target is no path of this kind. Takes "/path?query" and
// "http://host/path?query".
std::optional<Target> ParseTarget(const std::string& text);

// The target for the log: the path, and of the query only what is known to hold no secret.
std::string LoggableTarget(const std::string& text);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_TARGET_H_
