// SPDX-License-Identifier: Apache-2.0
// The service's list of alarms, and the documents that it refers to.
#include "Fuzz.h"
#include "device/DeviceMgr.h"
#include "https/HttpsClient.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static cloudclient::DeviceMgr* const device = cloudclient::DeviceMgr::GetInstance();
  static fakes::Service service;
  static cloudclient::HttpsClient client;
  static uint32_t code = 0;
  static const cloudclient::HttpsResult initialised = client.InitCurl(code);
  fuzz::Require(initialised == cloudclient::kHttpsOk, "the transport is ready");

  fuzz::Input input(data, size);
  service.answers("GET", "*", 200, input.Text());
  const std::string list = input.Rest();
  std::vector<cloudclient::CloudAlarm> alarms;
  device->ProcessAlarmList(&client, list, alarms, "https://cloud.example", "token");
  fuzz::Require(alarms.size() <= service.requests().size(), "each alarm was read");
  service.forget();
  fuzz::Forget();
  return 0;
}
