// SPDX-License-Identifier: Apache-2.0
#ifndef FAKES_SERVICE_H_
#define FAKES_SERVICE_H_

#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "fakes/Curl.h"

namespace fakes {

// A request as the service received it; one a perform, so that each attempt counts.
struct Request {
  std::string method;
  std::string url;
  std::vector<std::string> headerLines;
  std::string document;

  // The value of a header line, empty without the line; and whether there is such a line.
  std::string Header(const std::string& name) const;
  bool HasHeader(const std::string& name) const;
};

// The cloud service behind the libcurl double. Resets the double when it is made, and answers in
// its place until it goes. A path ends a URL; "/redfish/v1/Managers?uuid=*" stands for every path
// with that beginning. An exact path goes before a beginning, a longer beginning before a shorter.
// What nothing was said of is answered 404.
class Service {
 public:
  explicit Service(std::string baseUrl = "https://cloud.example");
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // How a kind of request is answered from now on.
  Service& answers(const std::string& method, const std::string& path, long status,
                   const std::string& body = "", const std::vector<std::string>& headerLines = {});
  // How the next request of the kind is answered; several wait in line.
  Service& answersOnce(const std::string& method, const std::string& path, long status,
                       const std::string& body = "",
                       const std::vector<std::string>& headerLines = {});
  // Requests of the kind fail in transport.
  Service& fails(const std::string& method, const std::string& path, CURLcode code);
  // Every request fails in transport with `code`, until CURLE_OK is given.
  void isDown(CURLcode code = CURLE_COULDNT_CONNECT) { m_down = code; }

  const std::vector<Request>& requests() const { return m_requests; }
  // "METHOD PATH" of each request, in order.
  std::vector<std::string> lines() const;
  // The requests of one kind.
  std::vector<Request> requests(const std::string& method, const std::string& path) const;
  // Forgets the requests so far.
  void forget() { m_requests.clear(); }

 private:
  struct Route {
    std::deque<Response> once;
    Response always;
    bool hasAlways = false;
  };

  std::string PathOf(const std::string& url) const;
  Route* FindRoute(const std::string& method, const std::string& path);
  Response Respond(const Transfer& transfer);

  std::string m_baseUrl;
  CURLcode m_down = CURLE_OK;
  std::map<std::pair<std::string, std::string>, Route> m_routes;
  std::vector<Request> m_requests;
};

}  // namespace fakes

#endif  // FAKES_SERVICE_H_
