// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_ROUTER_H_
#define SERVICE_HTTP_ROUTER_H_

#include <algorithm>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "service/http/Route.h"
#include "service/http/Target.h"

namespace cloudservice {

// Finds the endpoint of a method and a path. In the path of an endpoint "*" stands for one segment,
// and "**", at most once, for one or more. Where several paths fit a request, only the narrowest
// counts: a name is narrower than "*", and "*" is narrower than "**".
template <typename Endpoint>
class Router {
 public:
  struct Method {
    std::string name;
    Endpoint endpoint;
  };

  struct Path {
    std::vector<std::string> pattern;
    std::vector<Method> methods;  // in the order in which they were added
    std::shared_ptr<Route> route;

    // The endpoint of the method; null when the path has none.
    const Endpoint* Find(const std::string& method) const {
      const auto found = std::find_if(methods.begin(), methods.end(),
                                      [&](const Method& known) { return known.name == method; });
      return found == methods.end() ? nullptr : &found->endpoint;
    }
  };

  // Adds an endpoint. `path` is written like a request's target, percent-encoded. Throws
  // std::logic_error for a path with more than one "**".
  void Add(const std::string& method, const std::string& path, Endpoint endpoint) {
    const std::vector<std::string> pattern = Target(path).Segments();
    if (std::count_if(pattern.begin(), pattern.end(), IsOpen) > 1) {
      throw std::logic_error("more than one ** in " + path);
    }
    const auto place =
        std::lower_bound(m_paths.begin(), m_paths.end(), pattern,
                         [](const Path& known, const std::vector<std::string>& added) {
                           return Before(known.pattern, added);
                         });
    const bool known = place != m_paths.end() && place->pattern == pattern;
    const auto at =
        known ? place : m_paths.insert(place, Path{pattern, {}, std::make_shared<Route>(path)});
    at->methods.push_back({method, std::move(endpoint)});
  }

  // The routes of all paths, which live as long as this object.
  std::vector<const Route*> List() const {
    std::vector<const Route*> routes;
    for (const Path& path : m_paths) routes.push_back(path.route.get());
    return routes;
  }

  // The narrowest path that fits, or null. `names` gets the segments that its "*" stand for.
  const Path* Find(const std::vector<std::string>& segments,
                   std::vector<std::string>& names) const {
    for (const Path& path : m_paths) {
      if (Fits(path.pattern, segments, names)) return &path;
    }
    return nullptr;
  }

 private:
  static bool IsOpen(const std::string& segment) { return segment == "**"; }

  // Whether pattern `a` is tried before `b`: a name before "*", "*" before "**", and a longer
  // pattern before one that is its beginning.
  static bool Before(const std::vector<std::string>& a, const std::vector<std::string>& b) {
    const auto rank = [](const std::string& segment) {
      if (segment == "*") return 1;
      return IsOpen(segment) ? 2 : 0;
    };
    for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
      if (rank(a[i]) != rank(b[i])) return rank(a[i]) < rank(b[i]);
      if (a[i] != b[i]) return a[i] < b[i];
    }
    return a.size() > b.size();
  }

  static bool Fits(const std::vector<std::string>& pattern,
                   const std::vector<std::string>& segments, std::vector<std::string>& names) {
    const bool open = std::any_of(pattern.begin(), pattern.end(), IsOpen);
    if (open ? segments.size() < pattern.size() : segments.size() != pattern.size()) return false;
    names.clear();
    const std::size_t more = segments.size() - pattern.size();
    for (std::size_t i = 0, at = 0; i < pattern.size(); ++i, ++at) {
      if (IsOpen(pattern[i])) {
        at += more;
      } else if (pattern[i] == "*") {
        names.push_back(segments[at]);
      } else if (pattern[i] != segments[at]) {
        return false;
      }
    }
    return true;
  }

  std::vector<Path> m_paths;  // in the order in which they are tried
};

}  // namespace cloudservice

#endif  // SERVICE_HTTP_ROUTER_H_
