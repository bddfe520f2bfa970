// SPDX-License-Identifier: Apache-2.0
// The bytes of an answer: its header, and what follows it.
#include "service/http/Answer.h"

#include "service/util/Clock.h"

namespace cloudservice {

namespace {

const char* ReasonPhrase(unsigned status) {
  switch (status) {
    case 200:
      return "OK";
    case 201:
      return "Created";
    case 204:
      return "No Content";
    case 302:
      return "Found";
    case 304:
      return "Not Modified";
    case 400:
      return "Bad Request";
    case 401:
      return "Unauthorized";
    case 403:
      return "Forbidden";
    case 404:
      return "Not Found";
    case 405:
      return "Method Not Allowed";
    case 412:
      return "Precondition Failed";
    case 413:
      return "Payload Too Large";
    case 415:
      return "Unsupported Media Type";
    case 417:
      return "Expectation Failed";
    case 429:
      return "Too Many Requests";
    case 431:
      return "Request Header Fields Too Large";
    case 500:
      return "Internal Server Error";
    case 501:
      return "Not Implemented";
    case 503:
      return "Service Unavailable";
    case 505:
      return "HTTP Version Not Supported";
    case 507:
      return "Insufficient Storage";
    default:
      return "Unknown";
  }
}

void AddLine(std::string& text, const std::string& name, const std::string& value) {
  text += name + ": " + value + "\r\n";
}

bool HasBody(unsigned status) { return status != 204 && status != 304; }

}  // namespace

std::string AnswerHeader(const Response& response, time_t now, bool keepAlive) {
  std::string text =
      "HTTP/1.1 " + std::to_string(response.status) + " " + ReasonPhrase(response.status) + "\r\n";
  AddLine(text, "Date", HttpDate(now));
  AddLine(text, "Server", "cloudservice");
  if (response.Header("Cache-Control").empty()) AddLine(text, "Cache-Control", "no-store");
  for (const auto& [name, value] : response.headers) AddLine(text, name, value);
  if (response.stream != nullptr) {
    AddLine(text, "Content-Type", response.type);
  } else if (HasBody(response.status)) {
    if (!response.Content().empty()) AddLine(text, "Content-Type", response.type);
    AddLine(text, "Content-Length", std::to_string(response.Content().size()));
  }
  if (!keepAlive) AddLine(text, "Connection", "close");
  text += "\r\n";
  return text;
}

std::string_view AnswerBody(const Response& response) {
  return HasBody(response.status) ? response.Content() : std::string_view();
}

}  // namespace cloudservice
