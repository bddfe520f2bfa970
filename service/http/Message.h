// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_MESSAGE_H_
#define SERVICE_HTTP_MESSAGE_H_

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "service/http/Target.h"

namespace cloudservice {

class Stream;

// A request that has arrived whole.
struct Request {
  std::string method;
  Target target;
  std::string body;
  std::string token;  // X-Auth-Token; empty when there is none
  std::string peer;   // the sender's address
  std::vector<std::pair<std::string, std::string>> headers = {};  // as they came; trailers are none

  // The values of the header `name`, whatever its case of letters, joined by ", "; empty when there
  // is none.
  std::string Header(const std::string& name) const;
};

struct Response {
  unsigned status = 200;
  std::vector<std::pair<std::string, std::string>> headers;  // names as they go over the wire
  std::string body;                                          // may be empty
  std::string type = "application/json; charset=utf-8";      // the body's
  std::shared_ptr<Stream> stream = nullptr;                  // the body, when it has no end

  // The header's value; empty when there is none. The name counts as it is written here.
  std::string Header(const std::string& name) const;
  // Puts the header in the place of the one that is there, if any.
  void SetHeader(const std::string& name, const std::string& value);
};

// Answers a request. Called on the server's thread, must not block for long. What it throws costs
// the connection.
using Handler = std::function<Response(const Request&)>;

// Answers a request that never became one, refused with `status` for `reason`. Of the
// request, method and target are empty where they have not been read, the body always. Same rules
// as for a Handler.
using RefusalHandler =
    std::function<Response(unsigned status, const Request& request, const std::string& reason)>;

}  // namespace cloudservice

#endif  // SERVICE_HTTP_MESSAGE_H_
