// SPDX-License-Identifier: Apache-2.0
// What a daemon of this kind costs before it does anything: three threads that sleep in its rhythm,
// and one bare POST by libcurl an interval.
//
//   null_daemon URL SECONDS

#include <curl/curl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <thread>

namespace {

const char kDocument[] = R"({"HeartbeatInterval": 90})";

size_t Drop(char* /*data*/, size_t size, size_t count, void* /*sink*/) { return size * count; }

void Post(const char* url) {
  CURL* const curl = curl_easy_init();
  if (curl == nullptr) return;
  curl_easy_setopt(curl, CURLOPT_URL, url);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Drop);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, kDocument);
  const CURLcode code = curl_easy_perform(curl);
  if (code != CURLE_OK) std::cerr << "null_daemon: " << curl_easy_strerror(code) << "\n";
  curl_easy_cleanup(curl);
}

// The daemon's checker wakes twice a second, its poster and its application every five seconds.
constexpr useconds_t kCheckerUs = 500000;
constexpr useconds_t kPosterUs = 5000000;

[[noreturn]] void Sleep(useconds_t period) {
  for (;;) usleep(period);
}

// As the application, which does nothing in between.
void SleepSeconds(useconds_t seconds) {
  for (useconds_t passed = 0; passed < seconds; passed += 5) sleep(std::min(seconds - passed, 5U));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: null_daemon URL SECONDS\n";
    return 2;
  }
  const auto seconds = static_cast<unsigned int>(strtoul(argv[2], nullptr, 10));
  std::thread(Sleep, kCheckerUs).detach();
  std::thread(Sleep, kPosterUs).detach();
  if (curl_global_init(CURL_GLOBAL_ALL) != CURLE_OK) return 1;
  for (;;) {
    Post(argv[1]);
    SleepSeconds(seconds);
  }
}
