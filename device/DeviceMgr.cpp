// SPDX-License-Identifier: Apache-2.0
// The core: life cycle, engine notifications, queues, the checker's thread, module counts.
#include "device/DeviceMgr.h"

#include <unistd.h>

#include <cstddef>
#include <cstring>

#include "base/MutexGuard.h"
#include "base/Policy.h"
#include "device/DataFiles.h"
#include "device/DeviceMgrState.h"
#include "platform/pld/LxProductIdentSeq.h"
#include "platform/pld/PldConstants.h"
#include "platform/util/dlog.h"

namespace cloudclient {

unsigned short g_todAlarmId = kNoTodAlarm;
unsigned char g_registrationSuppressed = 0;

namespace {

// Handle of a thread that was never started.
constexpr pthread_t kNoThread = 11;

// After so many passes in a row without a proxy, about 160 seconds, the checker gives up.
constexpr int32_t kMaxProxyMissing = 320;

// Further calls of the event dispatch in one pass, while it reports more.
constexpr int kMaxMoreEvents = 20;

// The timer's thread and the poster share it without lock or atomic.
// Kept: docs/kept-behaviour.md#unlocked-flags
bool g_alarmSyncRequested = false;

// Passes of the checker in a row that found no proxy. No other thread reads or writes it.
int32_t g_proxyMissingCount = 0;

// Makes room for one more entry where the policy bounds a queue, and counts what gives way.
// `onDropped` gets the newest of it.
template <typename Entry, typename OnDropped>
void MakeRoom(std::vector<Entry>& queue, size_t& dropped, const OnDropped& onDropped) {
  const size_t most = ThePolicy().queues.most;
  if (most == 0 || queue.size() < most) return;
  const size_t surplus = queue.size() - most + 1;
  onDropped(queue[surplus - 1]);
  queue.erase(queue.begin(), queue.begin() + static_cast<std::ptrdiff_t>(surplus));
  dropped += surplus;
}

// Tells of what gave way since the last time.
void TellDropped(size_t& dropped, const char* caller) {
  if (dropped == 0) return;
  __dlog_printf(4, kUnit, "%s: queue full, the oldest %lu were dropped", caller,
                static_cast<unsigned long>(dropped));
  dropped = 0;
}

}  // namespace

DeviceMgr* DeviceMgr::GetInstance() {
  static auto* const instance = new DeviceMgr();
  return instance;
}

DeviceMgr::DeviceMgr() : m_changeOfCheckerThread(kNoThread), m_cloudPosterThread(kNoThread) {
  m_patchMgr.SetOutbox(&m_outbox);
}

DeviceMgr::~DeviceMgr() { Stop(); }

void DeviceMgr::SetPldProxy(LxPldProxy* proxy) {
  m_pldProxy = proxy;
  m_patchMgr.SetPldProxy(proxy);
}

bool DeviceMgr::IsAlarmSyncRequested() { return g_alarmSyncRequested; }

void DeviceMgr::SetAlarmSyncRequested(bool requested) { g_alarmSyncRequested = requested; }

void DeviceMgr::Start() {
  m_running = true;
  QueueTold();
  // A creation that fails leaves its handle undefined, and no thread to join.
  // Kept: docs/kept-behaviour.md#unchecked-threads
  pthread_t thread;
  if (pthread_create(&thread, nullptr, CloudPoster, nullptr) == 0) {
    m_cloudPosterThread = thread;
    m_cloudPosterJoined = false;
  }
  if (pthread_create(&thread, nullptr, ChangeOfCheckerThread, nullptr) == 0) {
    m_changeOfCheckerThread = thread;
    m_changeOfCheckerJoined = false;
  }
  m_timerMgr.activate();
  sleep(2);
  ArmTimeOfDayAlarm("Start");
}

void DeviceMgr::Stop() {
  m_running = false;
  if (g_todAlarmId < kNoTodAlarm) m_timerMgr.CancelTimer(g_todAlarmId);
  if (m_cloudPosterThread != kNoThread && !m_cloudPosterJoined) {
    pthread_join(m_cloudPosterThread, nullptr);
    m_cloudPosterJoined = true;
  }
  if (m_changeOfCheckerThread != kNoThread && !m_changeOfCheckerJoined) {
    pthread_join(m_changeOfCheckerThread, nullptr);
    m_changeOfCheckerJoined = true;
  }
}

void DeviceMgr::RegisterForDeviceDataChange(int velId) {
  if (m_pldProxy == nullptr) {
    __dlog_printf(3, kUnit, "%s: NULL pldProxy", "RegisterForDeviceDataChange");
    return;
  }
  // Kept: docs/kept-behaviour.md#suppressed-registration
  if (g_registrationSuppressed != 0) return;
  m_pldProxy->RegisterEventNotification(EventCallback, 0, velId);
  m_pldProxy->RegisterCovNotification(CovCallback, 0, velId);
}

void DeviceMgr::EventCallback(int /*status*/, const LxPldEventNotification* notification) {
  if (notification->status != 0) return;
  DeviceEvent event = {};
  // Kept: docs/kept-behaviour.md#device-0
  event.velId = notification->status;
  event.gddId = notification->gddId;
  event.module = notification->module;
  event.eventState = notification->eventState;
  event.spare = notification->spare;
  GetInstance()->AddDeviceEvent(event);
}

void DeviceMgr::CovCallback(int /*status*/, const LxPldCovNotification* notification) {
  if (notification->status != 0) return;
  GetInstance()->AddDeviceCOV(*notification);
}

void DeviceMgr::AddDeviceEvent(const DeviceEvent& event) {
  __dlog_printf(7, kUnit, "%s: adding event from pld engine: %u:%lu", "AddDeviceEvent", event.velId,
                static_cast<unsigned long>(event.gddId));
  const MutexGuard guard(m_eventMutex);
  if (guard.Status() != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to lock event mutex (%u)", "AddDeviceEvent",
                  guard.Status());
    return;
  }
  DeviceEvent kept = event;
  if (Outbox::IsWanted()) {
    Guarded(
        [&] {
          QueueToldEarlier();
          m_told.Put(kept);
        },
        "AddDeviceEvent");
  }
  MakeRoom(m_deviceEvents, m_droppedEvents,
           [this](const DeviceEvent& dropped) { m_told.Done(dropped); });
  m_deviceEvents.push_back(kept);
}

void DeviceMgr::QueueTold() {
  if (!Outbox::IsWanted()) return;
  const MutexGuard guard(m_eventMutex);
  if (guard.Status() == 0) Guarded([this] { QueueToldEarlier(); }, "Start");
}

// Puts what was told to an earlier process before what is queued. What the device has become since
// is compared afterwards: a synchronisation that was made before would know neither. The caller
// holds the queue's mutex.
void DeviceMgr::QueueToldEarlier() {
  if (m_told.Open(m_deviceEvents)) SetAlarmSyncRequested(true);
}

void DeviceMgr::AddDeviceCOV(const LxPldCovNotification& notification) {
  DeviceCov cov = {};
  cov.word0 = notification.status;
  cov.pointId = notification.pointId;
  cov.word2 = notification.word2;
  cov.extra = notification.extra;
  cov.word3 = notification.word3;
  memcpy(cov.valueText, notification.valueText, sizeof cov.valueText);
  const MutexGuard guard(m_covMutex);
  if (guard.Status() != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to lock the COV list mutex", "AddDeviceCOV");
    return;
  }
  MakeRoom(m_deviceCovs, m_droppedCovs, [](const DeviceCov& /*cov*/) {});
  m_deviceCovs.push_back(cov);
}

unsigned int DeviceMgr::TakeEvents(std::vector<DeviceEvent>& events) {
  const MutexGuard guard(m_eventMutex);
  if (guard.Status() != 0) return guard.Status();
  events = m_deviceEvents;
  TellDropped(m_droppedEvents, "TakeEvents");
  ClearEvents();
  return 0;
}

unsigned int DeviceMgr::TakeCovs(std::vector<DeviceCov>& covs) {
  const MutexGuard guard(m_covMutex);
  if (guard.Status() != 0) return guard.Status();
  covs = m_deviceCovs;
  TellDropped(m_droppedCovs, "TakeCovs");
  ClearCovs();
  return 0;
}

int32_t DeviceMgr::GetMaxModuleCountForPoint(unsigned int deviceId, unsigned int pointId) {
  // Kept: docs/kept-behaviour.md#count-cached-for-good
  const auto cached = m_maxModuleCounts.find(pointId);
  if (cached != m_maxModuleCounts.end()) return cached->second;
  if (m_pldProxy == nullptr) return 0;

  uint32_t report = 0;
  const LxDpStatus reportStatus = m_pldProxy->GetReportNumber(
      static_cast<uint16_t>(deviceId), static_cast<uint16_t>(pointId), report);
  if (reportStatus != 0) {
    __dlog_printf(3, kUnit,
                  "%s: Failed (LxDpStatus: %d) to get report number for point(%d) on device(%d)",
                  "GetMaxModuleCountForPoint", reportStatus, static_cast<int>(pointId),
                  static_cast<int>(deviceId));
    return 0;
  }
  uint32_t count = 0;
  const LxDpStatus countStatus = m_pldProxy->GetMaxModuleCount(
      static_cast<uint16_t>(deviceId), static_cast<uint16_t>(report), count);
  if (countStatus != 0) {
    __dlog_printf(
        3, kUnit,
        "%s: Failed (LxDpStatus: %d) to get max module count for report(%lu) on device(%d)",
        "GetMaxModuleCountForPoint", countStatus, static_cast<unsigned long>(report),
        static_cast<int>(deviceId));
    return 0;
  }
  m_maxModuleCounts.emplace(pointId, static_cast<int32_t>(count));
  return static_cast<int32_t>(count);
}

void DeviceMgr::InitDeviceDataPaths(int velId, LxPldProxy* proxy) {
  std::string path;
  if (FindPath(velId, path, pld::kPatchMapFile) != 0) {
    m_patchMgr.InitCovPatchMaps(path);
    m_patchMgr.InitIdHistoryValues(velId, m_httpsClient);
  }
  m_patchMgr.NewDaySyncAccumulators(velId, m_httpsClient, proxy);
}

int32_t DeviceMgr::FindPath(int velId, std::string& path, const std::string& fileName) {
  LxProductIdentSeq* psi = nullptr;
  if (m_pldProxy == nullptr ||
      !m_pldProxy->GetProdSeqId(&psi, static_cast<unsigned short>(velId))) {
    __dlog_printf(3, kUnit, "%s: Failed to get the product sequence id", "FindPath");
    return 0;
  }
  std::string sequence;
  psi->ConvertPsiToStr(sequence);
  if (FindDataFile(sequence, fileName, path)) return 1;
  if (ThePolicy().search.endAtBase) {
    __dlog_printf(3, kUnit, "%s: Failed to find %s of the device %s", "FindPath", fileName.c_str(),
                  sequence.c_str());
  }
  return 0;
}

void* DeviceMgr::ChangeOfCheckerThread(void* /*argument*/) {
  Guarded([] { GetInstance()->RunChangeOfChecker(); }, "ChangeOfCheckerThread");
  return nullptr;
}

void DeviceMgr::RunChangeOfChecker() {
  if (!m_running) return;
  do {
    bool goOn = true;
    Guarded([&] { goOn = PumpNotifications(); }, "ChangeOfCheckerThread");
    if (!goOn) return;
    usleep(500000);
  } while (m_running);
}

// One pass of the checker; false when notifications are given up for good.
bool DeviceMgr::PumpNotifications() {
  LxPldProxy* const proxy = m_pldProxy;
  if (proxy == nullptr) {
    // Kept: docs/kept-behaviour.md#checker-gives-up
    ++g_proxyMissingCount;
    if (g_proxyMissingCount <= kMaxProxyMissing) return true;
    __dlog_printf(3, kUnit,
                  "%s: Stopping event and cov processing for the Cloud Client --- restart of Cloud "
                  "Client required",
                  "ChangeOfCheckerThread");
    return false;
  }
  g_proxyMissingCount = 0;
  int more = proxy->DispatchEvents();
  for (int calls = 0; more != 0 && calls < kMaxMoreEvents; ++calls) more = proxy->DispatchEvents();
  // Kept: docs/kept-behaviour.md#unbounded-changes
  while (proxy->DispatchCovs() != 0) {
  }
  return true;
}

}  // namespace cloudclient
