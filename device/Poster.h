// SPDX-License-Identifier: Apache-2.0
#ifndef DEVICE_POSTER_H_
#define DEVICE_POSTER_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace cloudclient {

struct DeviceCov;
struct DeviceEvent;
class DeviceMgr;

// The work of the thread `CloudPoster`: posts queued events, delivers one change of value a pass,
// serves a requested synchronisation, and sends the heartbeat.
//
// One object a life of the thread, used by that thread alone; what it knows ends with it. It
// reaches queues, tracker and transport through the manager, which owns the thread and outlives it.
// What one step of the work throws ends that step alone.
class Poster {
 public:
  explicit Poster(DeviceMgr& mgr);

  // Waits until a chassis is configured; then makes a pass every five seconds and sends a heartbeat
  // after every 19th, until the manager stops. Returns at once, with a message, when the
  // appliance's UUID cannot be read. Blocks for all requests of its steps.
  void Run();

  // With an outbox: puts there what is still queued after the last pass.
  void PutRest();

 private:
  void WaitForChassis();
  void MakePass();
  void PostQueuedEvents();
  void PostQueuedEvent(const DeviceEvent& event);
  void ProcessQueuedCov();
  void DeliverCov(const DeviceCov& cov);
  void DeliverNewestCovs(const std::vector<DeviceCov>& covs);
  std::string LabelOf(const DeviceCov& cov) const;
  void ServeAlarmSyncRequest();

  DeviceMgr& m_mgr;
  std::string m_managerId;
  // Device instance to chassis identifier.
  std::map<int32_t, std::string> m_chassis;
  // The chassis looked up last, whoever looked it up; changes of value go to it.
  // Kept: docs/kept-behaviour.md#last-chassis
  std::string m_chassisId;
};

}  // namespace cloudclient

#endif  // DEVICE_POSTER_H_
