// SPDX-License-Identifier: Apache-2.0
#ifndef UNIT_HTTPS_TRANSPORTTEST_H_
#define UNIT_HTTPS_TRANSPORTTEST_H_

#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fakes/Curl.h"
#include "fakes/PlatformTest.h"
#include "https/HttpsClient.h"

namespace unit {

using cloudclient::HttpsClient;
using cloudclient::HttpsResult;
using fakes::curl;
using fakes::platform;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kUrl[] = "https://cloud.example/redfish/v1/Thing";
constexpr char kDocument[] = "{\"a\": 1}";

// An initialised transport with empty buffers. Each case ends with everything released.
class TransportTest : public fakes::PlatformTest {
 protected:
  void SetUp() override {
    fakes::PlatformTest::SetUp();
    curl().Reset();
    Initialise();
    EmptyBuffers();
    fakes::Reset();
    curl().Reset();
  }

  void TearDown() override {
    EXPECT_EQ(curl().liveHandles, 0);
    EXPECT_EQ(curl().liveLists, 0);
    EXPECT_EQ(platform().mutexes.Held(), 0);
  }

  HttpsResult Post(const std::string& token = "tok-1") {
    return client.PostJsonDocument(kUrl, body, header, kDocument, token);
  }
  HttpsResult Patch(const std::string& token = "tok-1") {
    return client.PatchResource(kUrl, token, kDocument);
  }
  HttpsResult Get() { return client.GetDocument(kUrl, body, header); }
  HttpsResult GetAuth(const std::string& token = "tok-1") {
    return client.GetAuthDocument(kUrl, body, header, token);
  }
  HttpsResult Delete(const std::string& token = "tok-1") {
    return client.DeleteResource(kUrl, token);
  }

  const std::vector<std::string>& SetOptions() { return curl().Last().options; }
  static std::vector<std::string> LogLines() { return platform().log.Lines(); }

  HttpsClient client;
  std::string body = "old body";
  std::string header = "old header";

 private:
  void Initialise() {
    uint32_t code = 0;
    ASSERT_EQ(client.InitCurl(code), 0u);
  }
  void EmptyBuffers() {
    curl().Answers(200);
    std::string ignored;
    ASSERT_EQ(client.PostJsonDocument(kUrl, ignored, ignored, "", ""), 0u);
  }
};

// What an operation set before libcurl refused `refused`, that option included.
inline std::vector<std::string> UpTo(const std::vector<std::string>& options,
                                     const std::string& refused) {
  std::vector<std::string> front;
  for (const std::string& option : options) {
    front.push_back(option);
    if (option.compare(0, option.find('='), refused) == 0) break;
  }
  return front;
}

// An option and its name in the double's record.
struct NamedOption {
  CURLoption option;
  const char* name;
};

inline void PrintTo(const NamedOption& option, std::ostream* stream) { *stream << option.name; }

inline std::string NameOf(const testing::TestParamInfo<NamedOption>& info) {
  return info.param.name;
}

}  // namespace unit

#endif  // UNIT_HTTPS_TRANSPORTTEST_H_
