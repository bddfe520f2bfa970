// SPDX-License-Identifier: Apache-2.0
// What the policy asks of each request, as options of libcurl.
#include "https/PolicyOptions.h"

#include <string>

#include "base/Policy.h"
#include "https/Options.h"
#include "platform/util/LocalPath.h"

namespace cloudclient {
namespace {

// libcurl's progress callback: another value than 0 ends the transfer.
int EndAtStop(void* isStop, curl_off_t /*downTotal*/, curl_off_t /*down*/, curl_off_t /*upTotal*/,
              curl_off_t /*up*/) noexcept {
  const auto& asks = *static_cast<const std::function<bool()>*>(isStop);
  return asks && asks() ? 1 : 0;
}

// A file's option, of which libcurl keeps a copy; without a file the one that libcurl comes with
// goes.
Options& SetFile(Options& options, CURLoption option, const std::string& file) {
  const std::string path = LocalPath(file);
  const char* const none = nullptr;
  return options.Set(option, file.empty() ? none : path.c_str());
}

void SetTls(Options& options, const Policy::Transport& transport) {
  if (transport.minimumTls != 0) {
    options.Set(CURLOPT_SSLVERSION, transport.minimumTls == 13 ? long{CURL_SSLVERSION_TLSv1_3}
                                                               : long{CURL_SSLVERSION_TLSv1_2});
  }
  if (!transport.clientCertificate.empty()) {
    SetFile(options, CURLOPT_SSLCERT, transport.clientCertificate);
  }
  if (!transport.clientKey.empty()) SetFile(options, CURLOPT_SSLKEY, transport.clientKey);
}

void SetDeadlines(Options& options, const Policy::Transport& transport,
                  const std::function<bool()>& isStop) {
  if (!transport.HasDeadline()) return;
  if (transport.connectTimeoutSeconds != 0) {
    options.Set(CURLOPT_CONNECTTIMEOUT, transport.connectTimeoutSeconds);
  }
  if (transport.requestTimeoutSeconds != 0) {
    options.Set(CURLOPT_TIMEOUT, transport.requestTimeoutSeconds);
  }
  if (transport.stallSeconds != 0) {
    options.Set(CURLOPT_LOW_SPEED_LIMIT, 1L).Set(CURLOPT_LOW_SPEED_TIME, transport.stallSeconds);
  }
  // Signals belong to the whole process, and a name server that is silent must not hold what ends.
  options
      .Set(CURLOPT_NOSIGNAL, 1L)
#if LIBCURL_VERSION_NUM >= 0x075700
      .Set(CURLOPT_QUICK_EXIT, 1L)
#endif
      .Set(CURLOPT_NOPROGRESS, 0L)
      .Set(CURLOPT_XFERINFOFUNCTION, &EndAtStop)
      .Set(CURLOPT_XFERINFODATA, &isStop);
}

void SetProxy(Options& options, const Policy::Transport& transport) {
  if (transport.proxy) {
    // What a proxy says before the service speaks is no part of an answer.
    options.Set(CURLOPT_PROXY, transport.proxy->c_str()).Set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  }
  if (transport.noProxy) options.Set(CURLOPT_NOPROXY, transport.noProxy->c_str());
  if (transport.proxyAuth.empty()) return;
  // As two texts: libcurl would decode the one that holds both.
  const std::string& both = transport.proxyAuth;
  const size_t colon = both.find(':');
  const std::string password = colon == std::string::npos ? "" : both.substr(colon + 1);
  options.Set(CURLOPT_PROXYUSERNAME, both.substr(0, colon).c_str())
      .Set(CURLOPT_PROXYPASSWORD, password.c_str());
}

}  // namespace

CURLcode SetVerification(CURL* handle) {
  const Policy::Transport& transport = ThePolicy().transport;
  Options options(handle);
  // Where keys are pinned, chain and name are not looked at: the key decides alone.
  if (transport.verifyServer && transport.pinnedPublicKeys.empty()) {
    options.Set(CURLOPT_SSL_VERIFYPEER, 1L).Set(CURLOPT_SSL_VERIFYHOST, 2L);
    if (!transport.caFile.empty() || !transport.caPath.empty()) {
      SetFile(options, CURLOPT_CAINFO, transport.caFile);
      SetFile(options, CURLOPT_CAPATH, transport.caPath);
    }
    return options.Code();
  }
  // Kept: docs/kept-behaviour.md#no-certificate-check
  options.Set(CURLOPT_SSL_VERIFYPEER, 0L).Set(CURLOPT_SSL_VERIFYHOST, 0L);
  if (!transport.pinnedPublicKeys.empty()) {
    options.Set(CURLOPT_PINNEDPUBLICKEY, transport.pinnedPublicKeys.c_str());
  }
  return options.Code();
}

CURLcode SetPolicyOptions(CURL* handle, const std::function<bool()>& isStop) {
  const Policy::Transport& transport = ThePolicy().transport;
  Options options(handle);
  SetTls(options, transport);
  // Kept: docs/kept-behaviour.md#no-deadlines
  SetDeadlines(options, transport, isStop);
  SetProxy(options, transport);
  return options.Code();
}

}  // namespace cloudclient
