// SPDX-License-Identifier: Apache-2.0
#ifndef HTTPS_HTTPSCLIENT_H_
#define HTTPS_HTTPSCLIENT_H_

#include <curl/curl.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "platform/util/LxLinuxMutex.h"

namespace cloudclient {

// Outcome of a transport operation. 8 is not produced.
typedef uint32_t HttpsResult;

// The values of HttpsResult.
enum : HttpsResult {
  kHttpsOk = 0,
  kHttpsInitFailed = 1,       // curl_global_init failed
  kHttpsNoHandle = 2,         // not initialised, or libcurl gave no easy handle
  kHttpsSetupFailed = 3,      // libcurl refused an option
  kHttpsTransportFailed = 4,  // the transfer failed; a GET answered with any other status
  kHttpsDeleteRefused = 5,    // DELETE answered with a status other than 204
  kHttpsPostRefused = 6,      // POST answered with a status other than 200 or 201
  kHttpsRedirect = 7,         // GET answered 302 or 303
  kHttpsForbidden = 9,        // GET answered 403
  kHttpsPatchRefused = 10,    // PATCH answered with a status other than 200, 202 or 204
};

// The daemon's one HTTPS transport: synchronous operations against the service.
//
// Every operation blocks for the whole exchange (no time-out is set), may be called from any
// thread and holds `lock` throughout, so that requests go out one at a time. When locking fails,
// the request goes out without the lock. URLs, documents and tokens are taken as they are. The
// server's certificate is not verified. What of this a policy changes: base/Policy.h.
// Kept: docs/kept-behaviour.md#unseen-lock
//
// Answers come back as two raw texts: the header block (every header line with its CR LF, the
// blank line that ends it included) and the body. All operations receive into the same two buffers,
// which only some outcomes empty: what a PATCH or a failed transfer leaves in them, and a DELETE
// does not empty, precedes the next POST's or GET's answer.
class HttpsClient {
 public:
  // Makes no libcurl call.
  HttpsClient() = default;
  // Ends libcurl, whether or not it was ever initialised.
  virtual ~HttpsClient();
  HttpsClient(const HttpsClient&) = delete;
  HttpsClient& operator=(const HttpsClient&) = delete;

  // Initialises libcurl once for the process. kHttpsOk, or kHttpsInitFailed; `curlCode` receives
  // libcurl's code, and keeps its value when libcurl was initialised before.
  HttpsResult InitCurl(uint32_t& curlCode);

  // What tells that the process is asked to stop: a request then ends within a second, if the
  // policy has a deadline. Called on the threads of requests; before the first of them.
  void EndWhen(std::function<bool()> isStop) { m_isStop = std::move(isStop); }
  bool IsStop() const { return m_isStop && m_isStop(); }

  // Whether the service refused a token (401, 403) since the last call. Noted only where the policy
  // tries connections again. Any thread.
  bool TakeRefusal() { return m_tokenRefused.exchange(false); }

  // Ends the connection that is kept, if one is: libcurl sends a request that found it ended once
  // more, and a service may have taken both. Before what must not be there twice. Any thread.
  void EndConnection();

  // POST of a JSON document. `responseBody` receives header block and body together. An empty
  // token sends no token header. On kHttpsPostRefused the answer is handed out all the same. Where
  // libcurl refuses one of the last options, nothing is sent and kHttpsOk returned with the outputs
  // untouched.
  HttpsResult PostJsonDocument(const std::string& url, std::string& responseBody,
                               std::string& responseHeader, const std::string& document,
                               const std::string& token);

  // The same for an event that may have been posted before: with a header line `Message-Key`, by
  // which the service takes none twice. `status` receives the answer's, 0 where there was none; the
  // answer is not handed out.
  HttpsResult PostEvent(const std::string& url, const std::string& document,
                        const std::string& token, const std::string& key, long& status);

  // PATCH of a JSON document. The answer is not handed out; `status` as above.
  HttpsResult PatchResource(const std::string& url, const std::string& token,
                            const std::string& document);
  HttpsResult PatchResource(const std::string& url, const std::string& token,
                            const std::string& document, long& status);

  // GET without a header of the daemon's own, and GET with the token. The outputs are assigned on
  // kHttpsOk, kHttpsForbidden and kHttpsRedirect (with an empty body), and untouched otherwise;
  // also on the kHttpsOk that GetAuthDocument returns, without having sent anything, when libcurl
  // refuses the header list. Throws std::out_of_range when the header block is longer than
  // everything received; the outputs hold all of it then.
  HttpsResult GetDocument(const std::string& url, std::string& responseBody,
                          std::string& responseHeader);
  HttpsResult GetAuthDocument(const std::string& url, std::string& responseBody,
                              std::string& responseHeader, const std::string& token);
  // The same; `status` receives the answer's, 0 where there was none.
  HttpsResult GetAuthDocument(const std::string& url, std::string& responseBody,
                              std::string& responseHeader, const std::string& token, long& status);

  // DELETE. An answer's body goes to standard output.
  HttpsResult DeleteResource(const std::string& url, const std::string& token);

 private:
  class Request;
  struct Answer;

  HttpsResult OpenHandle();
  HttpsResult CloseHandle();
  CURLcode Perform(void (*logUnresolved)());
  HttpsResult Post(const std::string& url, Answer& answer, const std::string& document,
                   const std::string& token, const std::string& key);
  HttpsResult PerformGet(CURL* curlHandle, const std::string& url, std::string& responseBody,
                         std::string& responseHeader, long& status);

  bool initialised = false;
  CURL* handle = nullptr;
  LxLinuxMutex lock;
  std::function<bool()> m_isStop;
  std::atomic<bool> m_tokenRefused{false};
  bool m_reusable = false;  // the handle may serve another request
};

// A flat JSON object of the map's entries in key order, one a line. Nothing is escaped.
void BuildFlatJson(const std::map<std::string, std::string>& entries, std::string& text);

}  // namespace cloudclient

#endif  // HTTPS_HTTPSCLIENT_H_
