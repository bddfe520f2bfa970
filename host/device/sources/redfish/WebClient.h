// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_DEVICE_SOURCES_REDFISH_WEBCLIENT_H_
#define HOST_DEVICE_SOURCES_REDFISH_WEBCLIENT_H_

#include <curl/curl.h>

#include <memory>
#include <string>

#include "host/device/sources/SourceModule.h"
#include "host/util/Problem.h"

namespace host {

// Where a controller is, and how it is known. Files are the appliance's.
struct WebServer {
  std::string url;     // without a slash at its end
  bool verify = true;  // chain and name of its certificate are checked
  std::string caFile;  // against these; the system's store when both are empty
  std::string caPath;
  std::string pinnedPublicKey;  // "sha256//...": a key that matches is all that is asked
};

// A request, and what came of it.
struct WebExchange {
  std::string path;  // behind the URL
  std::string body;  // posted when not empty
  std::string user;  // by Basic, when not empty
  std::string password;
  std::string token;  // X-Auth-Token, when not empty

  long status = 0;
  std::string answer;
  std::string newToken;  // X-Auth-Token of the answer
};

// Requests to one server over a connection that is kept. Used by one thread at a time.
class WebClient {
 public:
  WebClient(WebServer server, const SourceLimits& limits);
  ~WebClient();
  WebClient(const WebClient&) = delete;
  WebClient& operator=(const WebClient&) = delete;

  // Blocks within the limits. A problem when there is no whole answer, whatever its status.
  Problem Ask(WebExchange& exchange);

 private:
  struct HandleRelease {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
  };
  struct MultiRelease {
    void operator()(CURLM* handle) const { curl_multi_cleanup(handle); }
  };

  CURLcode SetUp(WebExchange& exchange, curl_slist* headers);
  CURLcode SetTrust();
  Problem Perform();
  Problem Follow(CURLcode& result);

  const WebServer m_server;
  const SourceLimits m_limits;
  std::unique_ptr<CURLM, MultiRelease> m_multi;
  std::unique_ptr<CURL, HandleRelease> m_handle;
};

}  // namespace host

#endif  // HOST_DEVICE_SOURCES_REDFISH_WEBCLIENT_H_
