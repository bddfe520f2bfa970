// What a daemon of this kind costs before it does anything: two threads that wait, and one bare
// POST by libcurl an interval.
//
//   null_daemon URL SECONDS

#include <curl/curl.h>
#include <unistd.h>

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

[[noreturn]] void Idle() {
  for (;;) pause();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: null_daemon URL SECONDS\n";
    return 2;
  }
  const auto seconds = static_cast<unsigned int>(strtoul(argv[2], nullptr, 10));
  std::thread(Idle).detach();
  std::thread(Idle).detach();
  if (curl_global_init(CURL_GLOBAL_ALL) != CURLE_OK) return 1;
  for (;;) {
    Post(argv[1]);
    sleep(seconds);
  }
}
