// SPDX-License-Identifier: Apache-2.0
// The connection with the service: made, tried again, looked at after a refusal.
#include <unistd.h>

#include "app/CloudClient.h"
#include "app/CloudClientUnit.h"
#include "base/Policy.h"
#include "device/DeviceMgr.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

// How long the configuration written by registration and chassis creation is given to settle.
constexpr unsigned int kConfigSaveSeconds = 6;

}  // namespace

void CloudClient::ConnectWithCloudService() { Connect(); }

// True when the service knows the appliance, with its chassis as far as the policy asks for one.
bool CloudClient::Connect() {
  std::string managerDoc;
  const AppResult found = GetManagerInstance(managerDoc);
  if (found == kAppServiceNotReached) {
    __dlog_printf(3, kUnit, "%s: Cloud Service is not available at this time(%u)",
                  "ConnectWithCloudService", found);
    return false;
  }
  if (found != kAppOk && found != kAppNotRegistered) {
    __dlog_printf(3, kUnit, "%s: Unknown cloud client error (%u)", "ConnectWithCloudService",
                  found);
    return false;
  }
  const bool needsChassis = found == kAppOk && NeedsChassis();
  // Of a connection that stood nothing was missed.
  if (found == kAppOk && !needsChassis && m_connection == Connection::kMade) return true;
  const bool running = m_deviceMgr->IsRunning();
  if (found == kAppNotRegistered || needsChassis) {
    // The poster keeps its map of chassis for life, and pages are rendered on one thread at a time.
    if (running) m_deviceMgr->Stop();
    const bool added = AddToService(found, managerDoc);
    // What was refused so far was refused to another token.
    m_httpsClient.TakeRefusal();
    if (running) m_deviceMgr->Start();
    if (!added) return false;
  }
  if (running) {
    DeviceMgr::SetAlarmSyncRequested(true);
  } else {
    ReconcileWithCloudService(managerDoc);
  }
  return true;
}

// Registers an appliance that the service was not found to know, and posts the chassis, unless the
// manager that was found has one.
bool CloudClient::AddToService(AppResult found, const std::string& managerDoc) {
  if (found == kAppNotRegistered) {
    const AppResult registered = Register();
    if (registered != kAppOk) {
      __dlog_printf(3, kUnit, "%s: Cloud Client failed to register(%u) with the Cloud Service",
                    "ConnectWithCloudService", registered);
      return false;
    }
    // Kept: docs/kept-behaviour.md#unused-token
    std::string token;
    m_cfgCloud->GetXAuthToken(token);
  }
  AppResult added = found == kAppOk ? TakeLinkedChassis(managerDoc) : kAppNoCollection;
  // Kept: docs/kept-behaviour.md#chassis-once
  if (added == kAppNoCollection) added = PostChassisInstance();
  if (added != kAppOk) {
    __dlog_printf(3, kUnit, "%s: Failed to add chassis to cloud service (%u)",
                  "ConnectWithCloudService", added);
    return false;
  }
  __dlog_printf(7, kUnit, "%s: config save delay start", "ConnectWithCloudService");
  sleep(kConfigSaveSeconds);
  __dlog_printf(7, kUnit, "%s: config save delay end", "ConnectWithCloudService");
  return true;
}

// Where the policy tries again, what is missing of an earlier attempt is made up for.
bool CloudClient::NeedsChassis() {
  unsigned int count = 0;
  return ThePolicy().registration.Retries() && m_cfgCloud->GetNumCfgChassis(count) == 0 &&
         count == 0;
}

// A work step of an enabled client, where the policy tries again. A service may refuse a resource
// for ever to a manager that it knows: a look-up for which there was no reason lengthens the wait
// for the next one, and only a time without refusals shortens it again.
void CloudClient::KeepConnected() {
  const Policy::Registration& policy = ThePolicy().registration;
  if (!policy.Retries()) return;
  const double now = RetryWait::Now();
  if (m_connection == Connection::kFailed && m_retryWait.IsOver(now)) {
    __dlog_printf(5, kUnit, "%s: connecting with the Cloud Service again", "DoWork");
    m_httpsClient.TakeRefusal();
    NoteConnection(m_deviceMgr->IsRunning() ? Connect() : GoIntoService());
  } else if (m_connection == Connection::kMade && m_lookUpWait.IsOver(now) &&
             m_httpsClient.TakeRefusal()) {
    __dlog_printf(5, kUnit, "%s: the Cloud Service refused the token, looking the manager up",
                  "DoWork");
    if (m_lookUpWait.IsLongOver(now, policy.mostRetrySeconds)) m_lookUpWait.Reset();
    NoteConnection(Connect());
    m_lookUpWait.Begin(RetryWait::Now(), policy.firstRetrySeconds, policy.mostRetrySeconds);
  }
}

void CloudClient::NoteConnection(bool made) {
  const Policy::Registration& policy = ThePolicy().registration;
  if (!policy.Retries()) return;
  m_connection = made ? Connection::kMade : Connection::kFailed;
  if (made) {
    m_retryWait.Reset();
    return;
  }
  m_retryWait.Begin(RetryWait::Now(), policy.firstRetrySeconds, policy.mostRetrySeconds);
  __dlog_printf(5, kUnit, "%s: not connected, trying again within %ld s", "DoWork",
                m_retryWait.Longest());
}

}  // namespace cloudclient
