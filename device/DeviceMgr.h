// SPDX-License-Identifier: Apache-2.0
#ifndef DEVICE_DEVICEMGR_H_
#define DEVICE_DEVICEMGR_H_

#include <pthread.h>

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "base/RetryWait.h"
#include "device/CloudAlarm.h"
#include "device/DeviceActiveAlarmsMgr.h"
#include "device/DeviceEvent.h"
#include "device/ToldEvents.h"
#include "https/HttpsClient.h"
#include "https/Outbox.h"
#include "patch/PatchMgr.h"
#include "platform/config/CfgCloudChassis.h"
#include "platform/pld/LxPldProxy.h"
#include "platform/pld/PldConstants.h"
#include "platform/util/LxLinuxMutex.h"
#include "platform/util/LxTimerMgr.h"

namespace cloudclient {

// A queued change of value.
struct DeviceCov {
  uint32_t word0;    // first word of the notification, 0 when queued; used as device number
  uint32_t pointId;  // point whose value changed
  uint32_t word2;
  uint16_t extra;
  uint16_t word3;
  uint16_t spareCov;  // never set
  char valueText[pld::kCovValueSize];
};

// The hub between the device-data engine and the service: queues what the engine notifies, posts
// it, and keeps both sides' alarms equal. One object a process.
//
// Threads: the application's (set-up, Start, Stop, reconciliation), `CloudPoster`,
// `ChangeOfCheckerThread` (on which the engine's callbacks run) and the platform timer's. Each
// queue has a mutex, which is held only to append, or to copy and clear; no thread holds both.
// Neither lock nor atomic guards the flags that the threads share, the module-count cache and the
// tracker.
// Kept: docs/kept-behaviour.md#unlocked-flags
class DeviceMgr {
 public:
  // The one instance, made by the first call. It does not destroy itself: the application deletes
  // it once, before the transport through which it posts, and calls nothing of it afterwards.
  static DeviceMgr* GetInstance();

  // Ends the threads and the daily alarm before the members go.
  virtual ~DeviceMgr();
  DeviceMgr(const DeviceMgr&) = delete;
  DeviceMgr& operator=(const DeviceMgr&) = delete;

  // Not owned. Set once, before anything else is called.
  void SetPldProxy(LxPldProxy* proxy);
  LxPldProxy* GetPldProxy() const { return m_pldProxy; }
  void SetHttpsClient(HttpsClient* client) { m_httpsClient = client; }
  HttpsClient* GetHttpsClient() const { return m_httpsClient; }

  bool IsRunning() const { return m_running; }
  bool IsSyncInProgress() const { return m_syncInProgress; }
  DeviceActiveAlarmsMgr& GetActiveAlarmsMgr() { return m_activeAlarms; }
  PatchMgr& GetPatchMgr() { return m_patchMgr; }
  LxTimerMgr& GetTimerMgr() { return m_timerMgr; }
  Outbox& GetOutbox() { return m_outbox; }
  // False for a while after a synchronisation that was put off.
  bool IsSyncDue() const { return m_syncWait.IsOver(RetryWait::Now()); }

  // The queues. Locking returns the mutex's status. Only `HasEvents` and `HasCovs` may be asked
  // without the mutex.
  unsigned int LockEventList() { return m_eventMutex.Lock(); }
  unsigned int UnlockEventList() { return m_eventMutex.Unlock(); }
  unsigned int LockCovList() { return m_covMutex.Lock(); }
  unsigned int UnlockCovList() { return m_covMutex.Unlock(); }
  bool HasEvents() const { return !m_deviceEvents.empty(); }
  bool HasCovs() const { return !m_deviceCovs.empty(); }
  void ClearEvents() { m_deviceEvents.clear(); }
  // Queues what was told to an earlier process, once; where that can't be read it does nothing, and
  // is to be called again. With an outbox only.
  void QueueTold();
  void ClearCovs() { m_deviceCovs.clear(); }
  std::vector<DeviceEvent>& GetEventList() { return m_deviceEvents; }
  std::vector<DeviceCov>& GetCovList() { return m_deviceCovs; }
  // Empty a queue under its mutex, and replace the argument by what was in it. Return the mutex's
  // status: non-zero, and nothing happened, when it could not be locked.
  unsigned int TakeEvents(std::vector<DeviceEvent>& events);
  unsigned int TakeCovs(std::vector<DeviceCov>& covs);

  // The request for an alarm synchronisation, which `CloudPoster` serves.
  static bool IsAlarmSyncRequested();
  static void SetAlarmSyncRequested(bool requested);

  // Starts both threads and arms the daily alarm. Blocks for 2 seconds.
  void Start();
  // Ends both threads (waits for what they are doing) and the daily alarm. May be called again. An
  // alarm that expires at this very moment arms the next one all the same.
  void Stop();

  // Registers for the device's events and changes of value: from now on the engine's callbacks
  // append them to the queues.
  void RegisterForDeviceDataChange(int velId);

  // Append to a queue; where the policy bounds it the oldest give way. Any thread. With an outbox
  // an event is on the disk before it is queued.
  void AddDeviceEvent(const DeviceEvent& event);
  void AddDeviceCOV(const LxPldCovNotification& notification);

  // Number of modules of a point or event, cached for good; 0 when the engine does not know it,
  // which is not cached.
  int32_t GetMaxModuleCountForPoint(unsigned int deviceId, unsigned int pointId);

  // Device data paths.

  // Locates and loads the patch map of the device, and seeds the accumulators.
  void InitDeviceDataPaths(int velId, LxPldProxy* proxy);
  // Searches for a data file of the device: 1 and its full path in `path`, else 0. As FindDataFile,
  // which does not always return; 0 also when the device's product sequence identifier is unknown.
  int32_t FindPath(int velId, std::string& path, const std::string& fileName);

  // Edit a rendered document: forwards to PatchMgr.
  void FillSevenDayValues(std::string& document) { m_patchMgr.FillSevenDayValues(document); }
  void UpdateDocWithTempUomValues(int deviceId, std::string& document) {
    m_patchMgr.UpdateDocWithTempUomValues(deviceId, document);
  }

  // Callbacks of the daily alarm, on the platform timer's thread. `context` is not used.
  static void TimeOfDayAlarmCB(unsigned short alarmId, void* context);
  static void TimeOfDayCancelCB(unsigned short alarmId, void* context);

  // Active events of the device.

  // Empties the event queue.
  void ClearDeviceActiveAlarms();
  // Empties the event queue and has the engine queue the device's active events into it; they are
  // there within 2 seconds. Without a proxy the queue stays as it is. With an outbox the queue
  // keeps what it has, and the active events are kept beside it.
  void GetDeviceActiveAlarms(int velId);

  // Events and alarms of the service. Each operation logs its failures. What HttpsClient's GET
  // throws counts as a failure.

  // Posts the event document of `alarm`; an active alarm that the service took is tracked. With an
  // outbox it is put there, and counts as taken; it goes out under `key` where that is not empty.
  // Whether it was taken.
  bool PostEventForAlarmToCloud(const CloudAlarm& alarm, const std::string& chassisId,
                                const std::string& managerId, const std::string& key = {});

  // Posts the state of an event that the device has told of, unless it is the one that is tracked.
  // What is cleared is tracked no more. With an outbox the event need not be kept any longer,
  // unless it could neither be put there nor sent: then it is posted after the next start.
  void PostDeviceEvent(const DeviceEvent& event, const std::string& chassisId,
                       const std::string& managerId);

  // With an outbox: an event that is not to be posted need not be kept any longer.
  void ForgetTold(const DeviceEvent& event) { m_told.Done(event); }

  // Sends what waits in the outbox. Blocks for its requests; a stop ends it after the one under
  // way.
  void SendOutbox();

  // Replaces `alarms` by those that the service holds as not cleared for the chassis `origin`:
  // Fault, Alarm, Warning. What cannot be read is left out; false when the service did not answer
  // all requests for it.
  bool ReadAlarmsFromCloudForChassis(HttpsClient* httpsClient, const std::string& origin,
                                     std::vector<CloudAlarm>& alarms);
  // One query of that list. True, and the answer's body in `listDocument`, on success.
  bool AskForEvents(const std::string& severity, const std::string& origin,
                    HttpsClient* httpsClient, std::string& listDocument, const std::string& baseUrl,
                    const std::string& token);
  // Reads every event that `listDocument` refers to and appends those that parse; false when the
  // service did not give the list or an event of it.
  bool ProcessAlarmList(HttpsClient* httpsClient, const std::string& listDocument,
                        std::vector<CloudAlarm>& alarms, const std::string& baseUrl,
                        const std::string& token);
  // Fills `alarm` from an event document. True on success; else `alarm` is as it was.
  bool InitCloudAlarmFromJson(const std::string& eventDocument, CloudAlarm& alarm);
  // Reads one alarm document of the service's other shape ("AlarmId") at the path `reference` and
  // appends it.
  void GetAlarmFromCloud(HttpsClient* httpsClient, const std::string& reference,
                         std::vector<CloudAlarm>& alarms);

  // Sends every resource of the chassis, then synchronises the alarms of all configured chassis.
  // This and SyncAlarms block for 2 seconds a chassis, in which the engine queues its active events
  // on a thread of its own, and for all their requests.
  void SyncChassisAlarms(int velId, const std::string& chassisId);
  // Makes the service's open alarms those of the device, for every configured chassis.
  void SyncAlarms();
  // Fills an empty alarm from a device event.
  void InitCloudAlarmFromDeviceEvent(CloudAlarm& alarm, const DeviceEvent& event);

  // Posts one heartbeat.
  void SendHeartbeat();

 private:
  DeviceMgr();

  // Thread bodies; the argument is not used, the result null.
  static void* CloudPoster(void* argument);
  static void* ChangeOfCheckerThread(void* argument);

  static void EventCallback(int status, const LxPldEventNotification* notification);
  static void CovCallback(int status, const LxPldCovNotification* notification);
  static void ActiveEventsCallback(int status, const std::list<LxPldProxy::ActiveEvent*>& events);

  void RunChangeOfChecker();
  bool PumpNotifications();
  void QueueToldEarlier();

  // Arms the daily alarm of tomorrow; false, with a message in the name of `caller`, when tomorrow
  // can't be computed.
  bool ArmTimeOfDayAlarm(const char* caller);

  void SyncAlarmsOfChassis(const std::string& chassisId, const cfg_cloud::CfgCloudChassis& chassis,
                           const std::string& managerId);
  bool CompareThroughOutbox(std::vector<CloudAlarm>& cloudAlarms,
                            std::vector<DeviceEvent>& deviceEvents, const std::string& chassisId,
                            const std::string& managerId);
  void PairFirstAlarm(std::vector<CloudAlarm>& cloudAlarms, std::vector<DeviceEvent>& deviceEvents,
                      const std::string& chassisId, const std::string& managerId);
  void PairAllAlarms(std::vector<CloudAlarm>& cloudAlarms, std::vector<DeviceEvent>& deviceEvents,
                     const std::string& chassisId, const std::string& managerId);
  void HandlePair(const CloudAlarm& cloud, const DeviceEvent& event, const std::string& chassisId,
                  const std::string& managerId);

  bool m_running = false;
  LxPldProxy* m_pldProxy = nullptr;
  pthread_t m_changeOfCheckerThread;
  pthread_t m_cloudPosterThread;
  std::vector<DeviceEvent> m_deviceEvents;
  LxLinuxMutex m_eventMutex;
  size_t m_droppedEvents = 0;  // since the queue was taken; guarded as the queue, as the next one
  size_t m_droppedCovs = 0;
  std::vector<DeviceCov> m_deviceCovs;
  std::map<uint32_t, int32_t> m_maxModuleCounts;
  LxLinuxMutex m_covMutex;
  HttpsClient* m_httpsClient = nullptr;
  DeviceActiveAlarmsMgr m_activeAlarms;
  // Spare: nothing fills or reads these two.
  std::map<uint32_t, std::string> m_spareMap;
  std::vector<uint32_t> m_spareList;
  PatchMgr m_patchMgr;
  // Declared after `m_patchMgr`, so that it is destroyed first: its thread's callbacks use that.
  LxTimerMgr m_timerMgr;
  bool m_syncInProgress = false;
  Outbox m_outbox;
  ToldEvents m_told;
  RetryWait m_syncWait;  // with an outbox, after a synchronisation that was put off
  // With an outbox: what the device answered to the last question for its active events, if it did;
  // guarded as the event queue.
  std::optional<std::vector<DeviceEvent>> m_activeEvents;
  // A handle keeps its value when its thread is joined; these keep Stop from joining it again.
  bool m_changeOfCheckerJoined = false;
  bool m_cloudPosterJoined = false;
};

}  // namespace cloudclient

#endif  // DEVICE_DEVICEMGR_H_
