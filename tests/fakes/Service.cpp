// SPDX-License-Identifier: Apache-2.0
#include "fakes/Service.h"

namespace fakes {
namespace {

bool Matches(const std::string& pattern, const std::string& path) {
  if (pattern.empty() || pattern.back() != '*') return pattern == path;
  return path.compare(0, pattern.size() - 1, pattern, 0, pattern.size() - 1) == 0;
}

}  // namespace

bool Request::HasHeader(const std::string& name) const {
  for (const std::string& line : headerLines) {
    if (line.compare(0, name.size() + 1, name + ":") == 0) return true;
  }
  return false;
}

std::string Request::Header(const std::string& name) const {
  const std::string start = name + ": ";
  for (const std::string& line : headerLines) {
    if (line.compare(0, start.size(), start) == 0) return line.substr(start.size());
  }
  return "";
}

Service::Service(std::string baseUrl) : m_baseUrl(std::move(baseUrl)) {
  curl().Reset();
  curl().respond = [this](const Transfer& transfer) { return Respond(transfer); };
}

Service::~Service() { curl().respond = nullptr; }

Service& Service::answers(const std::string& method, const std::string& path, long status,
                          const std::string& body, const std::vector<std::string>& headerLines) {
  Route& route = m_routes[{method, path}];
  route.always = {CURLE_OK, status, HeaderBlock(status, headerLines), body, ""};
  route.hasAlways = true;
  return *this;
}

Service& Service::answersOnce(const std::string& method, const std::string& path, long status,
                              const std::string& body,
                              const std::vector<std::string>& headerLines) {
  m_routes[{method, path}].once.push_back(
      {CURLE_OK, status, HeaderBlock(status, headerLines), body, ""});
  return *this;
}

Service& Service::fails(const std::string& method, const std::string& path, CURLcode code) {
  Route& route = m_routes[{method, path}];
  route.always = {code, 0, "", "", ""};
  route.hasAlways = true;
  return *this;
}

std::vector<std::string> Service::lines() const {
  std::vector<std::string> lines;
  for (const Request& request : m_requests) {
    lines.push_back(request.method + " " + PathOf(request.url));
  }
  return lines;
}

std::vector<Request> Service::requests(const std::string& method, const std::string& path) const {
  std::vector<Request> found;
  for (const Request& request : m_requests) {
    if (request.method == method && Matches(path, PathOf(request.url))) found.push_back(request);
  }
  return found;
}

// A URL elsewhere stays whole and so matches no path.
std::string Service::PathOf(const std::string& url) const {
  return url.compare(0, m_baseUrl.size(), m_baseUrl) == 0 ? url.substr(m_baseUrl.size()) : url;
}

Service::Route* Service::FindRoute(const std::string& method, const std::string& path) {
  Route* best = nullptr;
  size_t bestLength = 0;
  for (auto& [kind, route] : m_routes) {
    const bool usable = route.hasAlways || !route.once.empty();
    if (!usable || kind.first != method || !Matches(kind.second, path)) continue;
    if (kind.second == path) return &route;
    if (kind.second.size() > bestLength) {
      best = &route;
      bestLength = kind.second.size();
    }
  }
  return best;
}

Response Service::Respond(const Transfer& transfer) {
  m_requests.push_back({transfer.Method(), transfer.url, transfer.headerLines, transfer.document});
  if (m_down != CURLE_OK) return {m_down, 0, "", "", ""};
  Route* const route = FindRoute(transfer.Method(), PathOf(transfer.url));
  if (route == nullptr) return {CURLE_OK, 404, HeaderBlock(404), "", ""};
  if (route->once.empty()) return route->always;
  const Response response = route->once.front();
  route->once.pop_front();
  return response;
}

}  // namespace fakes
