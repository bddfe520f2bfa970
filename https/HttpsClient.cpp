// SPDX-License-Identifier: Apache-2.0
// The transport: requests, their options and header lines, attempts, results.
#include "https/HttpsClient.h"

#include <unistd.h>

#include <algorithm>
#include <exception>
#include <string_view>
#include <utility>

#include "base/Masked.h"
#include "base/MutexGuard.h"
#include "base/Policy.h"
#include "https/Options.h"
#include "https/PolicyOptions.h"
#include "platform/util/NetUtils.h"
#include "platform/util/dlog.h"

namespace cloudclient {
namespace {

constexpr char kUnit[] = "HttpsClient";
constexpr int kAttempts = 3;
constexpr useconds_t kResolvePause = 300000;
constexpr std::string_view kStatusLine = "HTTP/";

// The buffers of all requests' answers. What an operation leaves here precedes a later answer.
// Kept: docs/kept-behaviour.md#uncleared-buffers
std::string g_responseBody;
std::string g_responseHeader;

// libcurl's write callback. An answer for which there is no memory fails the transfer: an exception
// must not pass through libcurl.
// Kept: docs/kept-behaviour.md#no-answer-limit
size_t ResponseSink(char* data, size_t size, size_t count, void* sink) noexcept {
  try {
    static_cast<std::string*>(sink)->append(data, size * count);
  } catch (const std::exception&) {
    return 0;
  }
  return size * count;
}

// The same for the header lines. With fresh answers what follows the blank line that ends a header
// block is left out, unless it begins another: trailers belong to no answer.
size_t HeaderSink(char* data, size_t size, size_t count, void* sink) noexcept {
  const std::string& header = *static_cast<const std::string*>(sink);
  const auto ends = [&header](std::string_view end) {
    return header.size() >= end.size() &&
           header.compare(header.size() - end.size(), end.size(), end) == 0;
  };
  const bool ended = ends("\n\r\n") || ends("\n\n");
  const std::string_view line(data, size * count);
  const bool isTrailer = ended && line.substr(0, kStatusLine.size()) != kStatusLine;
  if (isTrailer && ThePolicy().transport.freshAnswers) return size * count;
  return ResponseSink(data, size, count, sink);
}

CURLcode SetSink(CURL* handle) {
  return Options(handle)
      .Set(CURLOPT_WRITEFUNCTION, &ResponseSink)
      .Set(CURLOPT_WRITEDATA, &g_responseBody)
      .Code();
}

CURLcode SetHeaderSink(CURL* handle) {
  return Options(handle)
      .Set(CURLOPT_HEADER, 1L)
      .Set(CURLOPT_HEADERFUNCTION, &HeaderSink)
      .Set(CURLOPT_HEADERDATA, &g_responseHeader)
      .Code();
}

// The header lines of one request, released with it.
class HeaderList {
 public:
  HeaderList() = default;
  ~HeaderList() { curl_slist_free_all(m_list); }
  HeaderList(const HeaderList&) = delete;
  HeaderList& operator=(const HeaderList&) = delete;

  HeaderList& Add(const std::string& line) {
    curl_slist* const longer = curl_slist_append(m_list, line.c_str());
    if (longer != nullptr) m_list = longer;
    return *this;
  }
  // The appliance's own address, not the host of the URL, which libcurl gives by itself.
  // Kept: docs/kept-behaviour.md#own-host
  HeaderList& Host() {
    if (ThePolicy().transport.hostOfUrl) return *this;
    std::string address;
    orv_netutils::GetGlobalAddress(address);
    return Add("Host: " + address);
  }
  HeaderList& Token(const std::string& token) {
    RememberToken(token);
    return Add("X-Auth-Token: " + token);
  }
  HeaderList& Length(const std::string& document) {
    return Add("Content-Length: " + std::to_string(document.size()));
  }
  HeaderList& AcceptJson() { return Add("Accept: application/json"); }
  curl_slist* Get() const { return m_list; }

 private:
  curl_slist* m_list = nullptr;
};

CURLcode SetupRequest(CURL* handle, const std::string& url) {
  return Options(handle)
      .Set(CURLOPT_URL, url.c_str())
      .All(SetSink)
      .All(SetVerification)
      .All(SetHeaderSink)
      .Code();
}

long ResponseCode(CURL* handle) {
  long code = 0;
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &code);
  return code;
}

unsigned int Number(CURLcode code) { return static_cast<unsigned int>(code); }

// Hands the received texts to the caller and empties the buffers.
void HandOut(std::string& responseBody, std::string& responseHeader) {
  responseBody = std::exchange(g_responseBody, {});
  responseHeader = std::exchange(g_responseHeader, {});
}

// The same without the header block, which is cut off by its length. Throws std::out_of_range when
// it is longer than everything received, but for fresh answers.
// Kept: docs/kept-behaviour.md#cut-by-length
void HandOutBody(std::string& responseBody, std::string& responseHeader) {
  HandOut(responseBody, responseHeader);
  const bool fresh = ThePolicy().transport.freshAnswers;
  responseBody = responseBody.substr(fresh ? std::min(responseHeader.size(), responseBody.size())
                                           : responseHeader.size());
}

}  // namespace

// One request: holds the lock, and within it an easy handle of its own, or the one that is kept.
// Kept: docs/kept-behaviour.md#one-at-a-time
class HttpsClient::Request {
 public:
  Request(HttpsClient& client, const std::string& token)
      : m_guard(client.lock),
        m_client(client),
        m_opened(client.OpenHandle()),
        m_hasToken(!token.empty()) {
    if (!ThePolicy().transport.freshAnswers) return;
    g_responseBody.clear();
    g_responseHeader.clear();
  }
  ~Request() {
    NoteRefusal();
    m_client.CloseHandle();
  }
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;

  // What opening the handle answered.
  HttpsResult Opened() const { return m_opened; }

 private:
  void NoteRefusal() {
    if (!m_hasToken || m_opened != kHttpsOk || !ThePolicy().registration.Retries()) return;
    const long status = ResponseCode(m_client.handle);
    if (status == 401 || status == 403) m_client.m_tokenRefused = true;
  }

  const MutexGuard m_guard;
  HttpsClient& m_client;
  const HttpsResult m_opened;
  const bool m_hasToken;
};

HttpsClient::~HttpsClient() {
  if (handle != nullptr) curl_easy_cleanup(handle);
  curl_global_cleanup();
}

HttpsResult HttpsClient::InitCurl(uint32_t& curlCode) {
  if (initialised) return kHttpsOk;
  curlCode = Number(curl_global_init(CURL_GLOBAL_ALL));
  if (curlCode != CURLE_OK) return kHttpsInitFailed;
  initialised = true;
  return kHttpsOk;
}

HttpsResult HttpsClient::OpenHandle() {
  if (!initialised) return kHttpsNoHandle;
  // Kept: docs/kept-behaviour.md#new-handle
  if (handle == nullptr) {
    handle = curl_easy_init();
  } else {
    curl_easy_reset(handle);
  }
  m_reusable = false;
  if (handle == nullptr) return kHttpsNoHandle;
  const CURLcode code = SetPolicyOptions(handle, m_isStop);
  if (code == CURLE_OK) return kHttpsOk;
  __dlog_printf(3, kUnit, "%s: libcurl refuses what the policy asks (curlres: %u - %s)",
                "OpenHandle", Number(code), curl_easy_strerror(code));
  return kHttpsSetupFailed;
}

HttpsResult HttpsClient::CloseHandle() {
  if (m_reusable) return kHttpsOk;
  if (handle != nullptr) curl_easy_cleanup(handle);
  handle = nullptr;
  return kHttpsOk;
}

void HttpsClient::EndConnection() {
  if (!ThePolicy().transport.keepConnection) return;
  const MutexGuard guard(lock);
  m_reusable = false;
  CloseHandle();
}

// Performs the prepared transfer, and again while the host cannot be resolved.
// Kept: docs/kept-behaviour.md#three-attempts
CURLcode HttpsClient::Perform(void (*logUnresolved)()) {
  for (int attempt = 1;; ++attempt) {
    const CURLcode code = curl_easy_perform(handle);
    m_reusable = code == CURLE_OK && ThePolicy().transport.keepConnection;
    if (code != CURLE_COULDNT_RESOLVE_HOST || attempt == kAttempts) return code;
    logUnresolved();
    usleep(kResolvePause);
  }
}

// What a POST comes to. The texts keep what they hold until there is an answer to hand out.
struct HttpsClient::Answer {
  std::string& body;
  std::string& header;
  long status = 0;
};

HttpsResult HttpsClient::PostJsonDocument(const std::string& url, std::string& responseBody,
                                          std::string& responseHeader, const std::string& document,
                                          const std::string& token) {
  Answer answer = {responseBody, responseHeader};
  return Post(url, answer, document, token, "");
}

HttpsResult HttpsClient::PostEvent(const std::string& url, const std::string& document,
                                   const std::string& token, const std::string& key, long& status) {
  std::string body;
  std::string header;
  Answer answer = {body, header};
  const HttpsResult result = Post(url, answer, document, token, key);
  status = answer.status;
  return result;
}

HttpsResult HttpsClient::Post(const std::string& url, Answer& answer, const std::string& document,
                              const std::string& token, const std::string& key) {
  const Request request(*this, token);
  if (request.Opened() != kHttpsOk) return request.Opened();

  Options options(handle);
  options.Set(CURLOPT_URL, url.c_str()).All(SetSink).All(SetVerification);
  HeaderList headers;
  headers.Host()
      .Add("Content-Type: application/json")
      // Kept: docs/kept-behaviour.md#charset-line
      .Add("charset=utf-8")
      .Length(document)
      .AcceptJson();
  if (!token.empty()) headers.Token(token);
  if (!key.empty()) headers.Add("Message-Key: " + key);
  options.Set(CURLOPT_HTTPHEADER, headers.Get()).Set(CURLOPT_POSTFIELDS, document.c_str());
  if (options.Refused()) {
    __dlog_printf(3, kUnit, "%s: Failed to setup curl request", "PostJsonDocument");
    return kHttpsSetupFailed;
  }
  // Nothing is sent, and no failure reported, when one of these is refused.
  // Kept: docs/kept-behaviour.md#unsent-succeeds
  if (options.All(SetHeaderSink).Refused()) return kHttpsOk;

  const CURLcode code =
      Perform([] { __dlog_printf(5, kUnit, "%s: POST DNS fail", "PostJsonDocument"); });
  if (code != CURLE_OK) {
    __dlog_printf(3, kUnit, "%s: HTTP POST failed (curlres: %u - %s)", "PostJsonDocument",
                  Number(code), curl_easy_strerror(code));
    return kHttpsTransportFailed;
  }
  answer.status = ResponseCode(handle);
  const bool accepted = answer.status == 200 || answer.status == 201;
  if (!accepted) {
    __dlog_printf(3, kUnit, "%s: POST failed for url %s", "PostJsonDocument", Masked(url).c_str());
    __dlog_printf(3, kUnit, "%s: respCode: %ld  hdr: %s  resp: %s", "PostJsonDocument",
                  answer.status, Masked(g_responseHeader).c_str(), Masked(g_responseBody).c_str());
  }
  // Kept: docs/kept-behaviour.md#headers-in-body
  HandOut(answer.body, answer.header);
  return accepted ? kHttpsOk : kHttpsPostRefused;
}

HttpsResult HttpsClient::PatchResource(const std::string& url, const std::string& token,
                                       const std::string& document) {
  long status = 0;
  return PatchResource(url, token, document, status);
}

HttpsResult HttpsClient::PatchResource(const std::string& url, const std::string& token,
                                       const std::string& document, long& status) {
  status = 0;
  const Request request(*this, token);
  if (request.Opened() != kHttpsOk) return request.Opened();

  // Kept: docs/kept-behaviour.md#unseen-options
  Options options(handle);
  options.Try(CURLOPT_URL, url.c_str())
      .Try(CURLOPT_WRITEFUNCTION, &ResponseSink)
      .Try(CURLOPT_WRITEDATA, &g_responseBody)
      .All(SetVerification);
  HeaderList headers;
  headers.Host()
      .Token(token)
      .Add("Content-Type: application/json; charset=utf-8")
      .Length(document)
      .AcceptJson();
  options.Set(CURLOPT_HTTPHEADER, headers.Get())
      .Try(CURLOPT_HEADER, 1L)
      .Try(CURLOPT_HEADERFUNCTION, &HeaderSink)
      .Try(CURLOPT_HEADERDATA, &g_responseHeader)
      .Try(CURLOPT_CUSTOMREQUEST, "PATCH")
      .Set(CURLOPT_POSTFIELDS, document.c_str());
  if (options.Refused()) return kHttpsSetupFailed;

  // Kept: docs/kept-behaviour.md#patch-named-delete
  const CURLcode code =
      Perform([] { __dlog_printf(5, kUnit, "%s: DELETE DNS fail", "PatchResource"); });
  if (code != CURLE_OK) {
    __dlog_printf(3, kUnit, "%s: Patch  failed (curlres: %u - %s)", "PatchResource", Number(code),
                  curl_easy_strerror(code));
    return kHttpsTransportFailed;
  }
  status = ResponseCode(handle);
  if (status == 200 || status == 202 || status == 204) return kHttpsOk;
  __dlog_printf(3, kUnit, "%s: PATCH failed for url %s  doc: %s", "PatchResource",
                Masked(url).c_str(), Masked(document).c_str());
  __dlog_printf(3, kUnit, "%s: respCode(%ld)  hdr: %s", "PatchResource", status,
                Masked(g_responseHeader).c_str());
  return kHttpsPatchRefused;
}

HttpsResult HttpsClient::GetDocument(const std::string& url, std::string& responseBody,
                                     std::string& responseHeader) {
  const Request request(*this, "");
  if (request.Opened() != kHttpsOk) return request.Opened();

  if (SetupRequest(handle, url) != CURLE_OK) return kHttpsSetupFailed;
  long status = 0;
  return PerformGet(handle, url, responseBody, responseHeader, status);
}

HttpsResult HttpsClient::GetAuthDocument(const std::string& url, std::string& responseBody,
                                         std::string& responseHeader, const std::string& token) {
  long status = 0;
  return GetAuthDocument(url, responseBody, responseHeader, token, status);
}

HttpsResult HttpsClient::GetAuthDocument(const std::string& url, std::string& responseBody,
                                         std::string& responseHeader, const std::string& token,
                                         long& status) {
  status = 0;
  const Request request(*this, token);
  if (request.Opened() != kHttpsOk) return request.Opened();

  if (SetupRequest(handle, url) != CURLE_OK) {
    __dlog_printf(3, kUnit, "%s: Failed to setup the curl request", "GetAuthDocument");
    return kHttpsSetupFailed;
  }
  HeaderList headers;
  headers.Host().AcceptJson().Token(token);
  // Nothing is sent, and no failure reported, when the list is refused.
  // Kept: docs/kept-behaviour.md#unsent-succeeds
  if (Options(handle).Set(CURLOPT_HTTPHEADER, headers.Get()).Refused()) return kHttpsOk;
  return PerformGet(handle, url, responseBody, responseHeader, status);
}

HttpsResult HttpsClient::PerformGet(CURL* curlHandle, const std::string& url,
                                    std::string& responseBody, std::string& responseHeader,
                                    long& status) {
  const CURLcode code = Perform([] { __dlog_printf(5, kUnit, "%s: GET DNS fail", "PerformGet"); });
  if (code != CURLE_OK) {
    __dlog_printf(3, kUnit, "%s: Get(%s) failed (curlres: %u - %s)", "PerformGet",
                  Masked(url).c_str(), Number(code), curl_easy_strerror(code));
    __dlog_printf(3, kUnit, "%s: Failed to get document (hcr: %d)", "PerformGet",
                  int{kHttpsTransportFailed});
    return kHttpsTransportFailed;
  }
  status = ResponseCode(curlHandle);
  switch (status) {
    case 200:
      HandOutBody(responseBody, responseHeader);
      return kHttpsOk;
    case 302:
    case 303:
      HandOut(responseBody, responseHeader);
      responseBody.clear();
      return kHttpsRedirect;
    case 403:
      HandOutBody(responseBody, responseHeader);
      __dlog_printf(6, kUnit, "%s: Failed to get document (invalid xauthtoken(hcr: %d)",
                    "PerformGet", int{kHttpsForbidden});
      return kHttpsForbidden;
    default:
      __dlog_printf(3, kUnit, "%s: GET failed for url %s", "PerformGet", Masked(url).c_str());
      __dlog_printf(3, kUnit, "%s: respCode: %ld hdr: %s  resp: %s", "PerformGet", status,
                    Masked(g_responseHeader).c_str(), Masked(g_responseBody).c_str());
      g_responseBody.clear();
      g_responseHeader.clear();
      __dlog_printf(3, kUnit, "%s: Failed to get document (hcr: %d)", "PerformGet",
                    int{kHttpsTransportFailed});
      return kHttpsTransportFailed;
  }
}

HttpsResult HttpsClient::DeleteResource(const std::string& url, const std::string& token) {
  const Request request(*this, token);
  if (request.Opened() != kHttpsOk) return request.Opened();

  // Kept: docs/kept-behaviour.md#delete-to-output
  Options options(handle);
  options.Set(CURLOPT_URL, url.c_str()).All(SetVerification);
  HeaderList headers;
  headers.Host().Token(token);
  options.Set(CURLOPT_HTTPHEADER, headers.Get()).Set(CURLOPT_CUSTOMREQUEST, "DELETE");
  if (options.Refused()) {
    __dlog_printf(3, kUnit, "%s: Failed to setup curl request", "DeleteResource");
    return kHttpsSetupFailed;
  }

  const CURLcode code =
      Perform([] { __dlog_printf(5, kUnit, "%s: DELETE DNS fail", "DeleteResource"); });
  if (code != CURLE_OK) {
    __dlog_printf(3, kUnit, "%s: Delete  failed (curlres: %u - %s)", "DeleteResource", Number(code),
                  curl_easy_strerror(code));
    __dlog_printf(3, kUnit, "%s: resource url: %s", "DeleteResource", Masked(url).c_str());
    // Kept: docs/kept-behaviour.md#token-in-log
    __dlog_printf(3, kUnit, "%s: xauthtoken: %s", "DeleteResource", Masked(token).c_str());
    return kHttpsTransportFailed;
  }
  const long status = ResponseCode(handle);
  if (status == 204) return kHttpsOk;
  __dlog_printf(3, kUnit, "%s: DELETE failed for url %s", "DeleteResource", Masked(url).c_str());
  // A DELETE fills no buffer: these are texts that earlier requests left.
  // Kept: docs/kept-behaviour.md#delete-shows-others
  __dlog_printf(3, kUnit, "%s: Delete  failed (http respCode %lu - hdr: %s\nresp: %s)",
                "DeleteResource", static_cast<unsigned long>(status),
                Masked(g_responseHeader).c_str(), Masked(g_responseBody).c_str());
  return kHttpsDeleteRefused;
}

// Kept: docs/kept-behaviour.md#flat-json-unescaped
void BuildFlatJson(const std::map<std::string, std::string>& entries, std::string& text) {
  text = "{\n";
  const char* separator = "";
  for (const auto& [key, value] : entries) {
    text.append(separator).append("\"").append(key).append("\": \"").append(value).append("\"");
    separator = ",\n";
  }
  text += entries.empty() ? "}\n" : "\n}\n";
}

}  // namespace cloudclient
