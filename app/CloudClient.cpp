// SPDX-License-Identifier: Apache-2.0
// Life cycle: enabling, disabling, changes of configuration.
#include "app/CloudClient.h"

#include <unistd.h>

#include "app/CloudClientUnit.h"
#include "base/CloudCfg.h"
#include "base/PolicyFile.h"
#include "device/DeviceMgr.h"
#include "platform/framework/LxConfigEvent.h"
#include "platform/util/LocalPath.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

constexpr unsigned int kPollSeconds = 5;

// How long the configuration written by registration and chassis creation is given to settle.
constexpr unsigned int kConfigSaveSeconds = 6;

// System name of an appliance that nobody has named yet.
const char kUninitialized[] = "Uninitialized";

// The transition to enabled was made, with or without success.
bool g_cloudEnabled = false;
// DoWork logged its notice since the client was last enabled.
bool g_disabledNoticeLogged = false;

}  // namespace

CloudClient::CloudClient(const char* name) : LxBaseProxyApp(name), m_cfgCloud(CloudCfg()) {
  if (m_cfgCloud->LoadAllChassis() != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to load chassis info from configuration", "CloudClient");
  }
  m_deviceMgr = DeviceMgr::GetInstance();
  m_deviceMgr->SetPldProxy(GetPldProxy());
  m_deviceMgr->SetHttpsClient(&m_httpsClient);
  m_httpsClient.EndWhen([this] { return IsStop(); });
  uint32_t curlCode = 0;
  if (m_httpsClient.InitCurl(curlCode) == kHttpsOk) {
    m_ready = true;
  } else {
    __dlog_printf(3, kUnit, "%s: Failed to initialize curl %u", "CloudClient", curlCode);
  }
}

// The singleton goes first: its threads post through the transport.
CloudClient::~CloudClient() { delete m_deviceMgr; }

bool CloudClient::TakePolicy() {
  const PolicyReading reading = ReadPolicy(LocalPath(kPolicyFile));
  if (!reading.problem.empty()) {
    __dlog_printf(3, kUnit, "%s: %s", "TakePolicy", reading.problem.c_str());
    return false;
  }
  UsePolicy(reading.policy);
  return true;
}

int CloudClient::OnStart() {
  LxBaseProxyApp::OnStart();
  if (IsStop()) return 0;
  // Kept: docs/kept-behaviour.md#unready-works
  if (!m_ready) {
    __dlog_printf(3, kUnit, "%s: CloudClient m_ready=false", "OnStart");
    return 0;
  }
  LxBaseKyrosApp::OnRunning();
  bool noticed = false;
  while (!IsStop() && !IsEnabled()) {
    if (!noticed) {
      __dlog_printf(5, kUnit, "%s: Cloud Client is running but DISABLED", "OnStart");
      noticed = true;
    }
    sleep(kPollSeconds);
  }
  return 0;
}

void CloudClient::DoWork() {
  if (IsEnabled()) {
    if (!g_cloudEnabled) EnterEnabled();
    // Set also when the configuration or the connection failed; nothing is retried.
    // Kept: docs/kept-behaviour.md#one-attempt
    g_cloudEnabled = true;
    g_disabledNoticeLogged = false;
  } else if (g_cloudEnabled) {
    EnterDisabled();
  } else if (!g_disabledNoticeLogged) {
    __dlog_printf(5, kUnit, "%s: cloudclient is running but DISABLED", "DoWork");
    g_disabledNoticeLogged = true;
  }
  sleep(kPollSeconds);
}

void CloudClient::EnterEnabled() {
  __dlog_printf(5, kUnit, "%s: cloudclient is now ENABLED", "DoWork");
  if (HasValidConfiguration() != kAppOk) return;
  const int velId = GetManagedDeviceVelId();
  m_deviceMgr->InitDeviceDataPaths(velId, GetPldProxy());
  ConnectWithCloudService();
  m_deviceMgr->RegisterForDeviceDataChange(velId);
  m_deviceMgr->Start();
  __dlog_printf(5, kUnit, "%s: cloudclient is now registered for device changes", "DoWork");
}

void CloudClient::EnterDisabled() {
  const AppResult result = Unregister();
  if (result != kAppOk) {
    __dlog_printf(3, kUnit, "%s: Failed to unregister(%u)", "DoWork", result);
  } else {
    __dlog_printf(5, kUnit, "%s: Cloud Client is unregistered from the Cloud Service", "DoWork");
  }
  m_deviceMgr->Stop();
  g_cloudEnabled = false;
  __dlog_printf(5, kUnit, "%s: cloudclient is now DISABLED", "DoWork");
}

// Kept: docs/kept-behaviour.md#stop-only-forwards
void CloudClient::OnStop() { LxBaseProxyApp::OnStop(); }

// Kept: docs/kept-behaviour.md#unreadable-is-disabled
bool CloudClient::IsEnabled() {
  bool enabled = false;
  const int status = m_cfgCloud->GetEnableState(enabled);
  if (status != 0) {
    // Kept: docs/kept-behaviour.md#open-bracket
    __dlog_printf(3, kUnit, "%s: Failed to get cloud client enable state (%u", "IsEnabled",
                  static_cast<unsigned int>(status));
  }
  return enabled;
}

AppResult CloudClient::HasValidConfiguration() {
  AppResult result = ValidateUnitName();
  std::string uuid;
  if (m_cfgCloud->GetUUID(uuid) != 0 || uuid.empty()) {
    // An empty UUID makes the configuration layer choose one.
    if (m_cfgCloud->SetUUID(uuid) == 0) {
      m_cfgCloud->Save();
    } else {
      result = kAppUuidNotStored;
    }
  }
  return result;
}

// Makes the unit name follow the system name.
AppResult CloudClient::ValidateUnitName() {
  std::string unitName;
  if (m_cfgCloud->GetUnitName(unitName) != 0) {
    __dlog_printf(3, kUnit, "%s: Cloud Client configuration invalid/missing",
                  "HasValidConfiguration");
    return kAppNotConfigured;
  }
  std::string sysName;
  if (SysInfoCfg()->GetSysName(sysName) != 0) {
    __dlog_printf(3, kUnit, "%s: Could not validate cloud config", "HasValidConfiguration");
    return kAppNoUnitName;
  }
  if (sysName == kUninitialized) {
    __dlog_printf(
        3, kUnit,
        "%s: Kyros System Name is 'Uninitialized' which is not a valid Cloud Client UnitName",
        "HasValidConfiguration");
    return kAppNoUnitName;
  }
  if (sysName == unitName) return kAppOk;
  if (m_cfgCloud->SetUnitName(sysName) != 0) {
    __dlog_printf(3, kUnit, "%s: Cloud Client requires Kyros System Name to be initialized",
                  "HasValidConfiguration");
    return kAppNoUnitName;
  }
  m_cfgCloud->Save();
  return kAppOk;
}

void CloudClient::ConnectWithCloudService() {
  std::string managerDoc;
  const AppResult found = GetManagerInstance(managerDoc);
  if (found == kAppServiceNotReached) {
    __dlog_printf(3, kUnit, "%s: Cloud Service is not available at this time(%u)",
                  "ConnectWithCloudService", found);
    return;
  }
  if (found != kAppOk && found != kAppNotRegistered) {
    __dlog_printf(3, kUnit, "%s: Unknown cloud client error (%u)", "ConnectWithCloudService",
                  found);
    return;
  }
  if (found == kAppNotRegistered) {
    const AppResult registered = Register();
    if (registered != kAppOk) {
      __dlog_printf(3, kUnit, "%s: Cloud Client failed to register(%u) with the Cloud Service",
                    "ConnectWithCloudService", registered);
      return;
    }
    // Kept: docs/kept-behaviour.md#unused-token
    std::string token;
    m_cfgCloud->GetXAuthToken(token);
    // Kept: docs/kept-behaviour.md#chassis-once
    const AppResult posted = PostChassisInstance();
    if (posted != kAppOk) {
      __dlog_printf(3, kUnit, "%s: Failed to add chassis to cloud service (%u)",
                    "ConnectWithCloudService", posted);
      return;
    }
    __dlog_printf(7, kUnit, "%s: config save delay start", "ConnectWithCloudService");
    sleep(kConfigSaveSeconds);
    __dlog_printf(7, kUnit, "%s: config save delay end", "ConnectWithCloudService");
  }
  ReconcileWithCloudService(managerDoc);
}

void CloudClient::HandleCfgEvent(const LxConfigEvent& event) {
  using cfg_sysinfo::LxCfgSysInfo;
  if (event.GetConfigSetName() != LxCfgSysInfo::CONFIGURATION_SET ||
      event.GetConfigSectionName() != LxCfgSysInfo::CFG_SECTION_INFO) {
    return;
  }
  for (const std::string& key : event.GetConfigKeyNames()) {
    if (key == LxCfgSysInfo::CFG_KEY_INFO_SYS_NAME && !RenameUnit()) return;
  }
}

// Makes the system name the unit name; false when the system name can't be read.
// Kept: docs/kept-behaviour.md#rename-unregisters
bool CloudClient::RenameUnit() {
  std::string sysName;
  int error = SysInfoCfg()->GetSysName(sysName);
  if (error != 0) {
    __dlog_printf(3, kUnit, "%s: Failed(CfgError: %d) to get system name", "HandleCfgEvent", error);
    return false;
  }
  std::string oldName;
  error = m_cfgCloud->GetUnitName(oldName);
  if (error != 0) {
    __dlog_printf(3, kUnit, "%s: Failed (CfgError: %d) to get unit name", "HandleCfgEvent", error);
    oldName.clear();
  }
  error = m_cfgCloud->SetUnitName(sysName);
  if (error != 0) {
    __dlog_printf(3, kUnit, "%s: Failed (CfgError: %d) to set unit name (%s)", "HandleCfgEvent",
                  error, sysName.c_str());
    return true;
  }
  if (!m_cfgCloud->Save()) {
    __dlog_printf(3, kUnit, "%s: Failed to save configuration", "HandleCfgEvent");
    return true;
  }
  auto* const app = static_cast<CloudClient*>(LxBaseKyrosApp::GetInstance());
  if (app->IsEnabled() && !oldName.empty()) {
    __dlog_printf(5, kUnit, "%s: unit name %s has been unregistered from the cloud service.",
                  "HandleCfgEvent", oldName.c_str());
    Unregister();
  }
  return true;
}

}  // namespace cloudclient
