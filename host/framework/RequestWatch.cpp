// SPDX-License-Identifier: Apache-2.0
// The requests of the daemon as they pass to libcurl, for `cloudclientctl watch`.
//
// The program is linked with --wrap=curl_easy_perform, so that the daemon's own folders need not
// know of it. While nobody watches nothing but the call is made.
#include <curl/curl.h>
#include <time.h>

#include <exception>

#include "host/util/Log.h"
#include "host/util/RequestRing.h"
#include "host/util/Secrets.h"

extern "C" {
CURLcode RealPerform(CURL* handle) __asm__("__real_curl_easy_perform");
CURLcode WatchedPerform(CURL* handle) __asm__("__wrap_curl_easy_perform");
}

namespace {

std::string TextOf(CURL* handle, CURLINFO info) {
  const char* text = nullptr;
  return curl_easy_getinfo(handle, info, &text) == CURLE_OK && text != nullptr ? text : "";
}

void See(CURL* handle, CURLcode code) {
  constexpr double kMillisecondsOfSecond = 1000;
  host::SeenRequest request;
  struct timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  request.time = host::LogTime(now);
#if LIBCURL_VERSION_NUM >= 0x074800
  request.method = TextOf(handle, CURLINFO_EFFECTIVE_METHOD);
#endif
  request.url = host::WithoutSecrets(TextOf(handle, CURLINFO_EFFECTIVE_URL));
  curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &request.status);
  double seconds = 0;
  curl_easy_getinfo(handle, CURLINFO_TOTAL_TIME, &seconds);
  request.milliseconds = static_cast<long>(seconds * kMillisecondsOfSecond);
  if (code != CURLE_OK) request.problem = curl_easy_strerror(code);
  host::SeeRequest(std::move(request));
}

}  // namespace

CURLcode WatchedPerform(CURL* handle) {
  const CURLcode code = RealPerform(handle);
  try {
    if (host::IsWatched()) See(handle, code);
  } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): without memory it is not seen
  }
  return code;
}
