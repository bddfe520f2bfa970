// SPDX-License-Identifier: Apache-2.0
// Posts a document so many times, by HttpsClient or by a bare libcurl loop, with a fresh handle for
// each request or with one that is kept, and prints what the requests cost as a JSON object:
//
//   bench_https_post client|bare|client-kept|bare-kept URL COUNT [REQUEST ...]
//
// "cpu_us" is the user and system time of the requests alone, "rss_kib" the resident size after
// each of the REQUESTs.

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "base/Policy.h"
#include "https/HttpsClient.h"

namespace {

const char kToken[] = "b1946ac92492d2347c6235b4d2611184";
const char kDocument[] =
    "{\n"
    "\"Name\": \"Event\",\n"
    "\"Description\": \"A change of state on the device\",\n"
    "\"Severity\": \"Alarm\",\n"
    "\"Created\": \"2026-03-05T14:07:09+0100\",\n"
    "\"Message\": \"The supply air temperature is above its upper limit\",\n"
    "\"MessageArgs\": [\"4711\", \"0\", \"1\", \"supply\"],\n"
    "\"OriginOfCondition\": \"/redfish/v1/Chassis/6f1c1e1a\"\n"
    "}\n";

int64_t Microseconds(const timeval& value) {
  return static_cast<int64_t>(value.tv_sec) * 1000000 + value.tv_usec;
}

int64_t CpuMicroseconds() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return Microseconds(usage.ru_utime) + Microseconds(usage.ru_stime);
}

// The exact resident size; read without allocating, so as not to change it. -1 when unknown.
long ResidentKib() {
  char text[2048];
  const int file = open("/proc/self/smaps_rollup", O_RDONLY | O_CLOEXEC);
  if (file < 0) return -1;
  const ssize_t length = read(file, text, sizeof text - 1);
  close(file);
  if (length <= 0) return -1;
  text[length] = '\0';
  const char* const line = strstr(text, "\nRss:");
  return line == nullptr ? -1 : strtol(line + 5, nullptr, 10);
}

size_t Append(char* data, size_t size, size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

// The same request on the wire with nothing around libcurl.
bool PostBare(CURL* curl, const char* url) {
  if (curl == nullptr) return false;
  std::string body;
  std::string header;
  const std::string length = "Content-Length: " + std::to_string(strlen(kDocument));
  const std::string token = std::string("X-Auth-Token: ") + kToken;
  curl_slist* list = curl_slist_append(nullptr, "Host: 192.0.2.17");
  for (const char* line : {"Content-Type: application/json", "charset=utf-8", length.c_str(),
                           "Accept: application/json", token.c_str()}) {
    list = curl_slist_append(list, line);
  }
  curl_easy_setopt(curl, CURLOPT_URL, url);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Append);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
  curl_easy_setopt(curl, CURLOPT_POSTFIELDS, kDocument);
  curl_easy_setopt(curl, CURLOPT_HEADER, 1L);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &Append);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &header);
  long status = 0;
  const bool sent = curl_easy_perform(curl) == CURLE_OK &&
                    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status) == CURLE_OK;
  curl_slist_free_all(list);
  return sent && status == 201;
}

bool PostBareFresh(const char* url) {
  CURL* const curl = curl_easy_init();
  const bool sent = PostBare(curl, url);
  curl_easy_cleanup(curl);
  return sent;
}

bool PostBareKept(const char* url) {
  static CURL* const curl = curl_easy_init();
  curl_easy_reset(curl);
  return PostBare(curl, url);
}

int Measure(const std::function<bool()>& post, long count, const std::vector<long>& residentAt) {
  std::vector<long> resident(residentAt.size(), -1);
  const int64_t before = CpuMicroseconds();
  for (long request = 1; request <= count; ++request) {
    if (!post()) {
      std::cerr << "bench_https_post: request " << request << " failed\n";
      return 1;
    }
    for (size_t i = 0; i < residentAt.size(); ++i) {
      if (residentAt[i] == request) resident[i] = ResidentKib();
    }
  }
  std::cout << R"({"requests": )" << count << R"(, "cpu_us": )" << CpuMicroseconds() - before
            << R"(, "rss_kib": [)";
  for (size_t i = 0; i < resident.size(); ++i) std::cout << (i == 0 ? "" : ", ") << resident[i];
  std::cout << "]}\n";
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string side = argc > 1 ? argv[1] : "";
  const bool byClient = side == "client" || side == "client-kept";
  const bool kept = side == "client-kept" || side == "bare-kept";
  if (argc < 4 || (!byClient && !kept && side != "bare")) {
    std::cerr << "usage: bench_https_post client|bare|client-kept|bare-kept URL COUNT "
                 "[REQUEST ...]\n";
    return 2;
  }
  const std::string url = argv[2];
  std::vector<long> residentAt;
  for (int i = 4; i < argc; ++i) residentAt.push_back(strtol(argv[i], nullptr, 10));

  cloudclient::Policy policy;
  policy.transport.keepConnection = kept;
  cloudclient::UsePolicy(policy);
  cloudclient::HttpsClient client;
  uint32_t code = 0;
  if (client.InitCurl(code) != cloudclient::kHttpsOk) return 1;
  const std::string document = kDocument;
  const std::string token = kToken;
  const auto postByClient = [&] {
    std::string body;
    std::string header;
    return client.PostJsonDocument(url, body, header, document, token) == cloudclient::kHttpsOk;
  };
  const auto postBare = [&] {
    return kept ? PostBareKept(url.c_str()) : PostBareFresh(url.c_str());
  };
  const std::function<bool()> post =
      byClient ? std::function<bool()>(postByClient) : std::function<bool()>(postBare);
  if (!post()) return 1;  // what only the first request costs is not counted
  return Measure(post, strtol(argv[3], nullptr, 10), residentAt);
}
