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
    if (g_cloudEnabled) {
      KeepConnected();
    } else {
      EnterEnabled();
    }
    // Set also when the configuration or the connection failed; nothing is retried unless the
    // policy asks for it.
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
  m_retryWait.Reset();
  m_lookUpWait.Reset();
  NoteConnection(GoIntoService());
}

bool CloudClient::GoIntoService() {
  if (HasValidConfiguration() != kAppOk) return false;
  const int velId = GetManagedDeviceVelId();
  m_deviceMgr->InitDeviceDataPaths(velId, GetPldProxy());
  const bool connected = Connect();
  m_deviceMgr->RegisterForDeviceDataChange(velId);
  m_deviceMgr->Start();
  __dlog_printf(5, kUnit, "%s: cloudclient is now registered for device changes", "DoWork");
  return connected;
}

void CloudClient::EnterDisabled() {
  const AppResult result = Unregister();
  if (result != kAppOk) {
    __dlog_printf(3, kUnit, "%s: Failed to unregister(%u)", "DoWork", result);
  } else {
    __dlog_printf(5, kUnit, "%s: Cloud Client is unregistered from the Cloud Service", "DoWork");
  }
  m_deviceMgr->Stop();
  m_connection = Connection::kNone;
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
    // One that could not even begin for want of a name goes on trying.
    if (m_deviceMgr->IsRunning()) m_connection = Connection::kNone;
  }
  return true;
}

}  // namespace cloudclient
