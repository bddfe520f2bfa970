// SPDX-License-Identifier: Apache-2.0
// A GET of the service, by the means of the daemon.
#include "ctl/ServiceRequest.h"

#include <strings.h>

#include <array>
#include <functional>
#include <memory>

#include "https/Options.h"
#include "https/PolicyOptions.h"

namespace ctl {

using cloudclient::Options;
using host::Problem;

namespace {

constexpr size_t kMostBytes = 1024UL * 1024;

struct Receiver {
  ServiceAnswer& answer;
  bool tooLong = false;
};

size_t TakeBody(char* bytes, size_t size, size_t count, void* context) {
  auto& receiver = *static_cast<Receiver*>(context);
  receiver.tooLong = receiver.answer.body.size() + size * count > kMostBytes;
  if (receiver.tooLong) return 0;
  receiver.answer.body.append(bytes, size * count);
  return size * count;
}

size_t TakeHeaderLine(char* bytes, size_t size, size_t count, void* context) {
  constexpr char kDate[] = "date:";
  constexpr size_t kDateSize = sizeof kDate - 1;
  const std::string line(bytes, size * count);
  if (strncasecmp(line.c_str(), kDate, kDateSize) == 0) {
    const time_t date = curl_getdate(line.c_str() + kDateSize, nullptr);
    if (date >= 0) static_cast<Receiver*>(context)->answer.date = date;
  }
  return size * count;
}

CURLcode SetRequest(CURL* handle, const std::string& url, const curl_slist* headers, double seconds,
                    Receiver& receiver) {
  constexpr double kMillisecondsOfSecond = 1000;
  static const std::function<bool()> never;
  // The policy's deadlines come first: the caller's is the last word.
  const CURLcode policy = cloudclient::SetPolicyOptions(handle, never);
  if (policy != CURLE_OK) return policy;
  Options options(handle);
  options.All(&cloudclient::SetVerification)
      .Set(CURLOPT_URL, url.c_str())
#if LIBCURL_VERSION_NUM >= 0x075500
      .Set(CURLOPT_PROTOCOLS_STR, "http,https")
#else
      .Set(CURLOPT_PROTOCOLS, long{CURLPROTO_HTTP | CURLPROTO_HTTPS})
#endif
      .Set(CURLOPT_HTTPHEADER, headers)
      .Set(CURLOPT_NOSIGNAL, 1L)
      .Set(CURLOPT_NOPROGRESS, 1L)
      .Set(CURLOPT_TIMEOUT_MS, static_cast<long>(seconds * kMillisecondsOfSecond))
      .Set(CURLOPT_WRITEFUNCTION, &TakeBody)
      .Set(CURLOPT_WRITEDATA, &receiver)
      .Set(CURLOPT_HEADERFUNCTION, &TakeHeaderLine)
      .Set(CURLOPT_HEADERDATA, &receiver);
  return options.Code();
}

}  // namespace

Problem AskService(const std::string& url, const std::string& token, double seconds,
                   ServiceAnswer& answer) {
  const std::unique_ptr<CURL, void (*)(CURL*)> handle(curl_easy_init(), &curl_easy_cleanup);
  if (!handle) return Problem("libcurl does not start");
  std::unique_ptr<curl_slist, void (*)(curl_slist*)> headers(nullptr, &curl_slist_free_all);
  if (!token.empty()) {
    headers.reset(curl_slist_append(nullptr, ("X-Auth-Token: " + token).c_str()));
  }
  std::array<char, CURL_ERROR_SIZE> reason = {};
  Receiver receiver{answer};
  curl_easy_setopt(handle.get(), CURLOPT_ERRORBUFFER, reason.data());
  CURLcode code = SetRequest(handle.get(), url, headers.get(), seconds, receiver);
  if (code == CURLE_OK) code = curl_easy_perform(handle.get());
  if (receiver.tooLong) return Problem("its answer is longer than 1 MiB");
  // libcurl has its own limit for a line of the header, and no other word for it.
  if (code == CURLE_OUT_OF_MEMORY)
    return Problem("a header line is too long, or memory is missing");
  if (code != CURLE_OK) {
    return Problem(reason.front() != '\0' ? reason.data() : curl_easy_strerror(code));
  }
  curl_easy_getinfo(handle.get(), CURLINFO_RESPONSE_CODE, &answer.status);
  const char* redirect = nullptr;
  curl_easy_getinfo(handle.get(), CURLINFO_REDIRECT_URL, &redirect);
  if (redirect != nullptr) answer.url = redirect;
  return {};
}

}  // namespace ctl
