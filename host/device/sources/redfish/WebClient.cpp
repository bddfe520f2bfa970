// SPDX-License-Identifier: Apache-2.0
// Requests to a controller, by libcurl.
#include "host/device/sources/redfish/WebClient.h"

#include <strings.h>

#include <exception>
#include <new>
#include <utility>

#include "host/util/Trimmed.h"
#include "platform/util/LocalPath.h"

namespace host {
namespace {

constexpr size_t kMostAnswer = 8UL * 1024 * 1024;
constexpr int kLookMs = 1000;

struct ListRelease {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using ListRef = std::unique_ptr<curl_slist, ListRelease>;

void Append(ListRef& list, const std::string& line) {
  curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
  if (longer == nullptr) throw std::bad_alloc();
  static_cast<void>(list.release());
  list.reset(longer);
}

// These are called by libcurl, whose C code no exception passes: less than what was given ends the
// transfer.
size_t TakeBody(const char* bytes, size_t /*one*/, size_t size, void* exchange) {
  std::string& answer = static_cast<WebExchange*>(exchange)->answer;
  if (answer.size() + size > kMostAnswer) return 0;
  try {
    answer.append(bytes, size);
  } catch (const std::exception&) {
    return 0;
  }
  return size;
}

size_t TakeHeader(const char* bytes, size_t /*one*/, size_t size, void* exchange) {
  constexpr char kName[] = "X-Auth-Token:";
  constexpr size_t kLength = sizeof(kName) - 1;
  if (size < kLength || strncasecmp(bytes, kName, kLength) != 0) return size;
  try {
    static_cast<WebExchange*>(exchange)->newToken =
        Trimmed(std::string(bytes + kLength, size - kLength));
  } catch (const std::exception&) {
    return 0;
  }
  return size;
}

// Without what libcurl knows of the request, which may hold secrets.
Problem OfCurl(CURLcode code) {
  if (code == CURLE_WRITE_ERROR) return Problem("its answer is too large");
  return Problem(curl_easy_strerror(code));
}

}  // namespace

WebClient::WebClient(WebServer server, const SourceLimits& limits)
    : m_server(std::move(server)), m_limits(limits) {
  // Counted by the library, which the daemon itself uses.
  if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK) throw std::bad_alloc();
  m_multi.reset(curl_multi_init());
  m_handle.reset(curl_easy_init());
  if (m_multi == nullptr || m_handle == nullptr) throw std::bad_alloc();
}

WebClient::~WebClient() = default;

CURLcode WebClient::SetTrust() {
  CURL* const handle = m_handle.get();
  const bool pinned = !m_server.pinnedPublicKey.empty();
  const bool verify = m_server.verify && !pinned;
  CURLcode code = curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, verify ? 1L : 0L);
  if (code == CURLE_OK) code = curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, verify ? 2L : 0L);
  if (code == CURLE_OK && pinned) {
    code = curl_easy_setopt(handle, CURLOPT_PINNEDPUBLICKEY, m_server.pinnedPublicKey.c_str());
  }
  const bool own = !m_server.caFile.empty() || !m_server.caPath.empty();
  if (code != CURLE_OK || !own) return code;
  const auto path = [](const std::string& text) { return LocalPath(text); };
  const std::string file = path(m_server.caFile);
  const std::string folder = path(m_server.caPath);
  code = curl_easy_setopt(handle, CURLOPT_CAINFO, file.empty() ? nullptr : file.c_str());
  if (code != CURLE_OK) return code;
  return curl_easy_setopt(handle, CURLOPT_CAPATH, folder.empty() ? nullptr : folder.c_str());
}

CURLcode WebClient::SetUp(WebExchange& exchange, curl_slist* headers) {
  CURL* const handle = m_handle.get();
  curl_easy_reset(handle);
  const std::string url = m_server.url + exchange.path;
  CURLcode code = curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
  const auto set = [&](CURLoption option, auto value) {
    if (code == CURLE_OK) code = curl_easy_setopt(handle, option, value);
  };
  set(CURLOPT_NOSIGNAL, 1L);
  set(CURLOPT_PROTOCOLS_STR, "http,https");
  set(CURLOPT_PROXY, "");  // the controller is this network's, whatever the environment says
  set(CURLOPT_TIMEOUT_MS, long{m_limits.timeoutMs});
  set(CURLOPT_HTTPHEADER, headers);
  set(CURLOPT_WRITEFUNCTION, &TakeBody);
  set(CURLOPT_WRITEDATA, static_cast<void*>(&exchange));
  set(CURLOPT_HEADERFUNCTION, &TakeHeader);
  set(CURLOPT_HEADERDATA, static_cast<void*>(&exchange));
  set(CURLOPT_ACCEPT_ENCODING, "");
  if (!exchange.body.empty()) {
    set(CURLOPT_POSTFIELDSIZE, static_cast<long>(exchange.body.size()));
    set(CURLOPT_COPYPOSTFIELDS, exchange.body.c_str());
  }
  if (!exchange.user.empty()) {
    set(CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
    set(CURLOPT_USERNAME, exchange.user.c_str());
    set(CURLOPT_PASSWORD, exchange.password.c_str());
  }
  return code == CURLE_OK ? SetTrust() : code;
}

// Waits for the end of the transfer, and for that of the connection.
Problem WebClient::Follow(CURLcode& result) {
  for (;;) {
    int running = 0;
    const CURLMcode code = curl_multi_perform(m_multi.get(), &running);
    if (code != CURLM_OK) return Problem(curl_multi_strerror(code));
    int left = 0;
    while (const CURLMsg* const message = curl_multi_info_read(m_multi.get(), &left)) {
      if (message->msg != CURLMSG_DONE) continue;
      result = message->data.result;
      return {};
    }
    curl_waitfd stop = {m_limits.stopFd, CURL_WAIT_POLLIN, 0};
    const bool stops = m_limits.stopFd >= 0;
    const CURLMcode waited =
        curl_multi_poll(m_multi.get(), stops ? &stop : nullptr, stops ? 1 : 0, kLookMs, nullptr);
    if (waited != CURLM_OK) return Problem(curl_multi_strerror(waited));
    if (stop.revents != 0) return Problem("is stopped");
  }
}

Problem WebClient::Perform() {
  const CURLMcode added = curl_multi_add_handle(m_multi.get(), m_handle.get());
  if (added != CURLM_OK) return Problem(curl_multi_strerror(added));
  CURLcode result = CURLE_OK;
  Problem problem = Follow(result);
  curl_multi_remove_handle(m_multi.get(), m_handle.get());
  if (problem) return problem;
  return result == CURLE_OK ? Problem() : OfCurl(result);
}

Problem WebClient::Ask(WebExchange& exchange) {
  ListRef headers;
  Append(headers, "Accept: application/json");
  Append(headers, "OData-Version: 4.0");
  if (!exchange.body.empty()) Append(headers, "Content-Type: application/json");
  if (!exchange.token.empty()) Append(headers, "X-Auth-Token: " + exchange.token);
  Problem problem;
  for (int i = 0; i <= m_limits.retries; ++i) {
    exchange.answer.clear();
    exchange.newToken.clear();
    const CURLcode code = SetUp(exchange, headers.get());
    if (code != CURLE_OK) return OfCurl(code);
    problem = Perform();
    if (!problem) break;
  }
  if (!problem) curl_easy_getinfo(m_handle.get(), CURLINFO_RESPONSE_CODE, &exchange.status);
  return problem;
}

}  // namespace host
