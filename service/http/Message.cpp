// SPDX-License-Identifier: Apache-2.0
// Headers of requests and answers.
#include "service/http/Message.h"

#include <strings.h>

#include <algorithm>
#include <utility>

namespace cloudservice {

std::string Request::Header(const std::string& name) const {
  std::string values;
  bool found = false;
  for (const auto& [key, value] : headers) {
    if (strcasecmp(key.c_str(), name.c_str()) != 0) continue;
    if (found) values += ", ";
    values += value;
    found = true;
  }
  return values;
}

void Response::SetContent(std::string bytes) {
  body = std::move(bytes);
  lasting = {};
}

std::string Response::Header(const std::string& name) const {
  for (const auto& [key, value] : headers) {
    if (key == name) return value;
  }
  return "";
}

void Response::SetHeader(const std::string& name, const std::string& value) {
  const auto found = std::find_if(headers.begin(), headers.end(),
                                  [&](const auto& header) { return header.first == name; });
  if (found == headers.end()) {
    headers.emplace_back(name, value);
  } else {
    found->second = value;
  }
}

}  // namespace cloudservice
