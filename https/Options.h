// SPDX-License-Identifier: Apache-2.0
#ifndef HTTPS_OPTIONS_H_
#define HTTPS_OPTIONS_H_

#include <curl/curl.h>

#include <type_traits>

namespace cloudclient {

// Sets options of a handle in order, up to the first that libcurl refuses.
class Options {
 public:
  explicit Options(CURL* handle) : m_handle(handle) {}

  template <typename Value>
  Options& Set(CURLoption option, Value value) {
    static_assert(kIsPassedWhole<Value>);
    if (m_code == CURLE_OK) m_code = curl_easy_setopt(m_handle, option, value);
    return *this;
  }
  // The same for an option whose refusal is ignored.
  template <typename Value>
  Options& Try(CURLoption option, Value value) {
    static_assert(kIsPassedWhole<Value>);
    if (m_code == CURLE_OK) curl_easy_setopt(m_handle, option, value);
    return *this;
  }
  // The same for several that `set` sets.
  Options& All(CURLcode (*set)(CURL*)) {
    if (m_code == CURLE_OK) m_code = set(m_handle);
    return *this;
  }
  CURLcode Code() const { return m_code; }
  bool Refused() const { return m_code != CURLE_OK; }

 private:
  // libcurl reads a number as a long.
  template <typename Value>
  static constexpr bool kIsPassedWhole = std::is_pointer_v<Value> || std::is_same_v<Value, long>;

  CURL* const m_handle;
  CURLcode m_code = CURLE_OK;
};

}  // namespace cloudclient

#endif  // HTTPS_OPTIONS_H_
