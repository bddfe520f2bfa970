// SPDX-License-Identifier: Apache-2.0
#include "CoreTest.h"

namespace device_core {

using cloudclient::DeviceMgr;

int Engine::RegisterEventNotification(EventCallback callback, unsigned int options, int velId) {
  registrations.push_back("event " + std::to_string(options) + " " + std::to_string(velId));
  return PldProxy::RegisterEventNotification(callback, options, velId);
}

int Engine::RegisterCovNotification(CovCallback callback, unsigned int options, int velId) {
  registrations.push_back("cov " + std::to_string(options) + " " + std::to_string(velId));
  return PldProxy::RegisterCovNotification(callback, options, velId);
}

int Engine::GetActiveEvents(ActiveEventsCallback callback, int velId) {
  if (onGetActiveEvents) onGetActiveEvents();
  return PldProxy::GetActiveEvents(callback, velId);
}

LxDpStatus Engine::GetReportNumber(uint16_t device, uint16_t point, uint32_t& report) {
  asked.push_back("report " + std::to_string(device) + " " + std::to_string(point));
  return reportStatus != 0 ? reportStatus : PldProxy::GetReportNumber(device, point, report);
}

LxDpStatus Engine::GetMaxModuleCount(uint16_t device, uint16_t report, uint32_t& count) {
  asked.push_back("modules " + std::to_string(device) + " " + std::to_string(report));
  return moduleCountStatus != 0 ? moduleCountStatus
                                : PldProxy::GetMaxModuleCount(device, report, count);
}

bool Engine::GetProdSeqId(LxProductIdentSeq** out, unsigned short velId) const {
  psiAsked.push_back(velId);
  if (!knowsPsi) return false;
  *out = &identity;
  return true;
}

Change::Change(uint32_t pointId, const std::string& value) : notification() {
  value.copy(buffer + 2, sizeof buffer - 3);
  notification.pointId = pointId;
  notification.valueText = buffer;
}

void CoreTest::SetUp() {
  static bool used = false;
  ASSERT_FALSE(used) << "the device manager exists once a process: run this case alone";
  used = true;
  PlatformTest::SetUp();
  mgr = DeviceMgr::GetInstance();  // first, so that its mutexes are numbers 0 and 1
  https = std::make_unique<cloudclient::HttpsClient>();
  uint32_t code = 0;
  ASSERT_EQ(https->InitCurl(code), 0u);
  mgr->SetPldProxy(&engine);
  mgr->SetHttpsClient(https.get());
  patch().https = https.get();
  patch().proxy = &engine;
  platform.cloud.uuid = kUuid;
  platform.cloud.token = "token-1";
  platform.cloud.chassis["17"] = 0;
  service.answers("POST", kEventsPath, 201);
  service.answers("POST", kHeartbeatPath, 200);
}

void CoreTest::Raise(uint32_t gddId, uint16_t module, uint16_t state, uint32_t velId) {
  mgr->AddDeviceEvent({velId, gddId, module, state, 0});
}

void CoreTest::Start() {
  mgr->Start();
  platform.sleeps.microseconds.clear();
  platform.log.records.clear();
}

void CoreTest::RunPoster(int stopIn) {
  Start();
  RunStartedPoster(stopIn);
}

void CoreTest::RunStartedPoster(int stopIn) {
  platform.sleeps.hook = [this, stopIn](uint64_t microseconds) {
    if (microseconds != kPass) return;
    ++passes;
    const auto what = inPass.find(passes);
    if (what != inPass.end()) what->second();
    if (passes == stopIn) mgr->Stop();
  };
  void* result = this;
  EXPECT_TRUE(platform.threads.Run(0, &result));
  EXPECT_EQ(result, nullptr);
  platform.sleeps.hook = nullptr;
}

void CoreTest::RunStartedChecker(int stopIn) {
  int sleeps = 0;
  platform.sleeps.hook = [this, stopIn, &sleeps](uint64_t) {
    if (++sleeps == stopIn) mgr->Stop();
  };
  void* result = this;
  EXPECT_TRUE(platform.threads.Run(1, &result));
  EXPECT_EQ(result, nullptr);
  platform.sleeps.hook = nullptr;
}

std::vector<std::string> CoreTest::Lines(int level) {
  std::vector<std::string> lines;
  for (const fakes::LogRecord& record : fakes::platform().log.records) {
    if (record.unit != "DeviceMgr" || record.level > level) continue;
    lines.push_back(std::to_string(record.level) + " " + record.text);
  }
  return lines;
}

std::vector<std::string> CoreTest::Documents(const std::string& method,
                                             const std::string& path) const {
  std::vector<std::string> documents;
  for (const fakes::Request& request : service.requests(method, path)) {
    documents.push_back(request.document);
  }
  return documents;
}

}  // namespace device_core
