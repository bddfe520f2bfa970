// SPDX-License-Identifier: Apache-2.0
#ifndef DEVICE_CORE_CORETEST_H_
#define DEVICE_CORE_CORETEST_H_

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "PatchDouble.h"
#include "device/DeviceMgr.h"
#include "fakes/PlatformTest.h"
#include "fakes/Service.h"

namespace device_core {

constexpr char kUuid[] = "6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11";
constexpr char kEventsPath[] =
    "/redfish/v1/Managers/6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11/Oem/Quorvan:Events";
constexpr char kHeartbeatPath[] = "/hb/6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11";

constexpr uint64_t kPass = 5000000;
constexpr uint64_t kTwoSeconds = 2000000;

// The device-data engine, with a record of what the queries without one were asked.
class Engine : public fakes::PldProxy {
 public:
  std::vector<std::string> registrations;  // "event 0 5", "cov 0 5"
  std::vector<std::string> asked;          // "report 1 5", "modules 1 7"
  int reportStatus = 0;
  int moduleCountStatus = 0;
  mutable std::vector<unsigned short> psiAsked;
  mutable fakes::ProductIdentSeq identity;
  std::function<void()> onGetActiveEvents;

  int RegisterEventNotification(EventCallback callback, unsigned int options, int velId) override;
  int RegisterCovNotification(CovCallback callback, unsigned int options, int velId) override;
  int GetActiveEvents(ActiveEventsCallback callback, int velId) override;
  LxDpStatus GetReportNumber(uint16_t device, uint16_t point, uint32_t& report) override;
  LxDpStatus GetMaxModuleCount(uint16_t device, uint16_t report, uint32_t& count) override;
  bool GetProdSeqId(LxProductIdentSeq** out, unsigned short velId) const override;
};

// A change of value as the engine notifies it.
struct Change {
  explicit Change(uint32_t pointId, const std::string& value = "21.5");
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

  char buffer[256] = {};
  LxPldCovNotification notification;
};

// The device manager of this process with an engine, a registered manager "kUuid" at a service that
// takes events and heartbeats, and one chassis, "17", for device 0. There is one manager a process,
// so every case is a process of its own.
class CoreTest : public fakes::PlatformTest {
 protected:
  void SetUp() override;

  // An event of device `velId` in the queue.
  void Raise(uint32_t gddId, uint16_t module = 0, uint16_t state = 3, uint32_t velId = 0);

  // Starts the manager; its threads are recorded only. Forgets what that slept and logged.
  void Start();

  // Starts the manager and runs the poster's body here until a stop comes while it sleeps at the
  // begin of pass `stopIn` (counted from 1; that pass is still made).
  void RunPoster(int stopIn);
  // The same with the manager started already.
  void RunStartedPoster(int stopIn);
  // What happens while the poster sleeps at the begin of a pass.
  std::map<int, std::function<void()>> inPass;
  int passes = 0;

  // Runs the checker's body here until the manager is stopped in its sleep number `stopIn`.
  void RunStartedChecker(int stopIn);

  // Log lines of the manager alone.
  static std::vector<std::string> Lines(int level = 7);
  // Documents of the requests of one kind.
  std::vector<std::string> Documents(const std::string& method, const std::string& path) const;

  fakes::Platform& platform = fakes::platform();
  fakes::Service service;
  Engine engine;
  cloudclient::DeviceMgr* mgr = nullptr;
  std::unique_ptr<cloudclient::HttpsClient> https;
};

}  // namespace device_core

#endif  // DEVICE_CORE_CORETEST_H_
