// SPDX-License-Identifier: Apache-2.0
// The work of the poster's thread: its rhythm, queued events, the changes of value of a pass.
#include "device/Poster.h"

#include <unistd.h>

#include <vector>

#include "base/CloudCfg.h"
#include "base/Policy.h"
#include "device/DeviceMgr.h"
#include "device/DeviceMgrState.h"
#include "platform/pld/PldConstants.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

// Seconds announced by the countdown between two heartbeats, and taken off it by each pass.
constexpr int kHeartbeatCountdown = 90;
constexpr int kPassSeconds = 5;

}  // namespace

// The manager's member that begins the thread stands here, so that the manager does not know the
// poster.
void* DeviceMgr::CloudPoster(void* /*argument*/) {
  const auto run = [] {
    Poster poster(*GetInstance());
    poster.Run();
    if (Outbox::IsWanted()) poster.PutRest();
  };
  // An appliance without a poster would be deaf until its next start: it begins again.
  while (!Guarded(run, "CloudPoster") && GetInstance()->IsRunning()) sleep(kPassSeconds);
  return nullptr;
}

Poster::Poster(DeviceMgr& mgr) : m_mgr(mgr) {}

void Poster::Run() {
  // Kept: docs/kept-behaviour.md#poster-ends
  const int status = CloudCfg()->GetUUID(m_managerId);
  if (status != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to get the manager instance (%u)", "CloudPoster",
                  static_cast<unsigned int>(status));
    return;
  }
  WaitForChassis();
  while (m_mgr.IsRunning()) {
    for (int countdown = kHeartbeatCountdown;; countdown -= kPassSeconds) {
      sleep(kPassSeconds);
      MakePass();
      // The countdown comes before the flag: after a stop in the last pass one heartbeat still goes
      // out.
      // Kept: docs/kept-behaviour.md#last-beat
      if (countdown <= 0) break;
      if (!m_mgr.IsRunning()) return;
    }
    Guarded([this] { m_mgr.SendHeartbeat(); }, "CloudPoster");
  }
}

// Kept: docs/kept-behaviour.md#chassis-map-once
void Poster::WaitForChassis() {
  while (m_mgr.IsRunning()) {
    unsigned int count = 0;
    CloudCfg()->GetNumCfgChassis(count);
    if (count != 0) {
      std::map<std::string, cfg_cloud::CfgCloudChassis> configured;
      CloudCfg()->GetConfiguredChassis(configured);
      for (const auto& [id, chassis] : configured) {
        int velId = 0;
        chassis.GetVelocityInstance(velId);
        m_chassis.emplace(velId, id);
        m_chassisId = id;
      }
    }
    sleep(2);
    if (count != 0) return;
  }
}

void Poster::MakePass() {
  m_mgr.QueueTold();
  if (m_mgr.HasEvents() && !m_mgr.IsSyncInProgress()) {
    Guarded([this] { PostQueuedEvents(); }, "CloudPoster");
  }
  if (m_mgr.HasCovs()) {
    Guarded([this] { ProcessQueuedCov(); }, "CloudPoster");
  }
  if (m_mgr.IsRunning()) {
    Guarded([this] { m_mgr.SendOutbox(); }, "CloudPoster");
  }
  if (DeviceMgr::IsAlarmSyncRequested() && (!Outbox::IsWanted() || m_mgr.IsSyncDue())) {
    Guarded([this] { ServeAlarmSyncRequest(); }, "CloudPoster");
  }
}

void Poster::PostQueuedEvents() {
  __dlog_printf(7, kUnit, "%s: has events", "CloudPoster");
  std::vector<DeviceEvent> events;
  if (m_mgr.TakeEvents(events) != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to get the event list lock", "CloudPoster");
    return;
  }
  for (const DeviceEvent& event : events) {
    Guarded([&] { PostQueuedEvent(event); }, "CloudPoster");
  }
}

void Poster::PostQueuedEvent(const DeviceEvent& event) {
  const auto chassis = m_chassis.find(static_cast<int32_t>(event.velId));
  if (chassis == m_chassis.end()) {
    __dlog_printf(3, kUnit, "%s: Failed to find chassis instance for velid: %u", "CloudPoster",
                  event.velId);
    m_mgr.ForgetTold(event);
    return;
  }
  m_chassisId = chassis->second;
  m_mgr.PostDeviceEvent(event, m_chassisId, m_managerId);
}

// What was queued after the last pass would be lost with the process; without a chassis it has to
// wait for one.
void Poster::PutRest() {
  if (m_chassis.empty()) return;
  if (m_mgr.HasEvents()) Guarded([this] { PostQueuedEvents(); }, "CloudPoster");
  const bool isKept = ThePolicy().changes.deliver == Policy::Changes::Deliver::kAll;
  if (isKept && m_mgr.HasCovs()) Guarded([this] { ProcessQueuedCov(); }, "CloudPoster");
}

void Poster::ProcessQueuedCov() {
  std::vector<DeviceCov> covs;
  if (m_mgr.TakeCovs(covs) != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to get the cov list lock", "CloudPoster");
    return;
  }
  switch (ThePolicy().changes.deliver) {
    case Policy::Changes::Deliver::kFirst:
      // A pass delivers the change that was queued first and drops the others.
      // Kept: docs/kept-behaviour.md#first-change
      DeliverCov(covs.front());
      break;
    case Policy::Changes::Deliver::kLatest:
      DeliverNewestCovs(covs);
      break;
    case Policy::Changes::Deliver::kAll:
      for (const DeviceCov& cov : covs) {
        Guarded([&] { DeliverCov(cov); }, "CloudPoster");
        if (!m_mgr.IsRunning() && !Outbox::IsWanted()) return;
      }
      break;
  }
}

void Poster::DeliverCov(const DeviceCov& cov) {
  m_mgr.GetPatchMgr().ProcessCOV(cov.word0, static_cast<int32_t>(cov.pointId), cov.extra,
                                 cov.valueText, m_mgr.GetHttpsClient(), m_chassisId, m_managerId,
                                 LabelOf(cov));
}

void Poster::DeliverNewestCovs(const std::vector<DeviceCov>& covs) {
  std::map<uint32_t, const DeviceCov*> newest;
  for (const DeviceCov& cov : covs) newest[cov.pointId] = &cov;
  std::vector<PointChange> changes;
  changes.reserve(newest.size());
  for (const auto& [pointId, cov] : newest) {
    changes.push_back(
        {cov->word0, static_cast<int32_t>(pointId), cov->extra, ReadingOf(cov->valueText)});
  }
  m_mgr.GetPatchMgr().ProcessNewestCOVs(changes, m_mgr.GetHttpsClient(), m_chassisId, m_managerId,
                                        LabelOf(covs.front()),
                                        [this] { return m_mgr.IsRunning(); });
}

// The label of the device that a change is of; empty when it can't be read.
std::string Poster::LabelOf(const DeviceCov& cov) const {
  std::string label;
  LxPldProxy* const proxy = m_mgr.GetPldProxy();
  if (proxy != nullptr) {
    proxy->GetPointText(label, static_cast<uint16_t>(cov.word0), pld::kLabelPoint, 1, 0, 0, 0, 0);
  }
  return label;
}

void Poster::ServeAlarmSyncRequest() {
  // One that is put off requests itself anew.
  const bool hasOutbox = Outbox::IsWanted();
  if (hasOutbox) DeviceMgr::SetAlarmSyncRequested(false);
  std::map<std::string, cfg_cloud::CfgCloudChassis> configured;
  CloudCfg()->GetConfiguredChassis(configured);
  // Each call synchronises all chassis: of several, each is synchronised several times.
  // Kept: docs/kept-behaviour.md#all-chassis-each
  for (const auto& [id, chassis] : configured) {
    m_chassisId = id;
    int velId = 0;
    chassis.GetVelocityInstance(velId);
    Guarded([&, chassisId = id] { m_mgr.SyncChassisAlarms(velId, chassisId); }, "CloudPoster");
  }
  if (!hasOutbox) DeviceMgr::SetAlarmSyncRequested(false);
  // What it put there is to be seen at the service: else it is made once more.
  if (!m_mgr.GetOutbox().IsIdle()) DeviceMgr::SetAlarmSyncRequested(true);
}

}  // namespace cloudclient
