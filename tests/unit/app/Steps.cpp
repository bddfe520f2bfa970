// SPDX-License-Identifier: Apache-2.0
#include "Steps.h"

#include <curl/curl.h>

#include "fakes/Curl.h"
#include "fakes/Platform.h"

using fakes::platform;

namespace {

bool IsChange(const std::string& operation) {
  return operation.compare(0, 3, "Get") != 0 && operation != "IsFullyConfigured";
}

}  // namespace

Steps& steps() {
  static Steps* const instance = new Steps;
  return *instance;
}

void Steps::Listen(const std::string& baseUrl) {
  m_steps.clear();
  m_messagesTaken = 0;
  platform().cloud.onCall = [this](const std::string& operation) {
    if (IsChange(operation)) Add("cloud." + operation);
  };
  platform().sysInfo.onCall = [this](const std::string& operation) {
    if (IsChange(operation)) Add("sysinfo." + operation);
  };
  platform().sleeps.hook = [this](uint64_t duration) { Add("sleep " + std::to_string(duration)); };
  fakes::curl().onPerform = [this, baseUrl](fakes::Transfer& transfer) {
    const bool here = transfer.url.compare(0, baseUrl.size(), baseUrl) == 0;
    Add(transfer.Method() + " " + (here ? transfer.url.substr(baseUrl.size()) : transfer.url));
  };
}

void Steps::Add(const std::string& step) {
  TakeMessages();
  m_steps.push_back({0, step});
}

const std::vector<std::string>& Steps::All(int level) {
  TakeMessages();
  m_shown.clear();
  for (const Step& step : m_steps) {
    if (step.level <= level) m_shown.push_back(step.text);
  }
  return m_shown;
}

void Steps::Forget() {
  TakeMessages();
  m_steps.clear();
}

void Steps::TakeMessages() {
  const auto& records = platform().log.records;
  for (; m_messagesTaken < records.size(); ++m_messagesTaken) {
    const fakes::LogRecord& record = records[m_messagesTaken];
    if (record.unit != "CloudClient") continue;
    m_steps.push_back({record.level, std::to_string(record.level) + " " + record.text});
  }
}

extern "C" {
CURLcode __real_curl_global_init(long flags);
CURLcode __wrap_curl_global_init(long flags);
void __real_curl_global_cleanup();
void __wrap_curl_global_cleanup();
}

CURLcode __wrap_curl_global_init(long flags) {
  steps().Add("curl_global_init");
  return __real_curl_global_init(flags);
}

void __wrap_curl_global_cleanup() {
  steps().Add("curl_global_cleanup");
  __real_curl_global_cleanup();
}
