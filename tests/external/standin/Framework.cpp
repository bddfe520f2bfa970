// SPDX-License-Identifier: Apache-2.0
// The application's frame: SIGTERM stops it, nothing else reaches it.
#include <signal.h>

#include <atomic>
#include <string>
#include <vector>

#include "Proxy.h"
#include "platform/config/LxCfgSysInfo.h"
#include "platform/framework/KyrosInfo.h"
#include "platform/framework/LxBaseProxyApp.h"
#include "platform/framework/LxConfigEvent.h"

namespace {

volatile sig_atomic_t g_stop = 0;
std::atomic<LxBaseKyrosApp*> g_application{nullptr};

void RequestStop(int /*signal*/) { g_stop = 1; }

// That the system name was given, the one event of this platform.
class SysNameGiven : public LxConfigEvent {
 public:
  const std::string& GetConfigSetName() const override { return m_set; }
  const std::string& GetConfigSectionName() const override { return m_section; }
  const std::vector<std::string>& GetConfigKeyNames() const override { return m_keys; }

 private:
  using SysInfo = cfg_sysinfo::LxCfgSysInfo;
  const std::string m_set = SysInfo::CONFIGURATION_SET;
  const std::string m_section = SysInfo::CFG_SECTION_INFO;
  const std::vector<std::string> m_keys = {SysInfo::CFG_KEY_INFO_SYS_NAME};
};

}  // namespace

struct LxBaseApp::Impl {};

LxBaseApp::LxBaseApp(const std::string& /*name*/) : m_impl(new Impl) {
  struct sigaction action = {};
  action.sa_handler = RequestStop;
  sigaction(SIGTERM, &action, nullptr);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);
}

LxBaseApp::~LxBaseApp() { delete m_impl; }

int LxBaseApp::OnStart() { return 0; }
void LxBaseApp::DoWork() {}
void LxBaseApp::OnStop() {}
void LxBaseApp::OnRunning() {}
void LxBaseApp::HandleSigTerm() {}
void LxBaseApp::HandleSigPipe() {}

void LxBaseApp::Start() {
  OnStart();
  if (g_application != nullptr) g_application.load()->HandleCfgEvent(SysNameGiven());
  while (!IsStop()) DoWork();
  HandleSigTerm();
  OnStop();
}

bool LxBaseApp::IsStop() const { return g_stop != 0; }

LxBaseKyrosApp::LxBaseKyrosApp(const std::string& name) : LxBaseApp(name) { g_application = this; }
LxBaseKyrosApp::~LxBaseKyrosApp() { g_application = nullptr; }
LxBaseKyrosApp* LxBaseKyrosApp::GetInstance() { return g_application; }

void LxBaseKyrosApp::OnRunning() { LxBaseApp::OnRunning(); }
void LxBaseKyrosApp::HandleSigTerm() { LxBaseApp::HandleSigTerm(); }
void LxBaseKyrosApp::HandleSigPipe() { LxBaseApp::HandleSigPipe(); }
void LxBaseKyrosApp::HandleVelInventoryEvent(const LxEventVelInv& /*event*/) {}
void LxBaseKyrosApp::HandleCfgEvent(const LxConfigEvent& /*event*/) {}
void LxBaseKyrosApp::HandleSystemEvent(const LxSystemEvent& /*event*/) {}
void LxBaseKyrosApp::HandleLifeEvent(const LxLifeEvent& /*event*/) {}
void LxBaseKyrosApp::HandleRemoteSvcEvent(const LxRemoteSvcEvent& /*event*/) {}
bool LxBaseKyrosApp::RequiresEventListener() const { return false; }
int LxBaseKyrosApp::GetEventListenerPort() const { return 0; }

LxBaseProxyApp::LxBaseProxyApp(const std::string& name) : LxBaseKyrosApp(name) {}
LxBaseProxyApp::~LxBaseProxyApp() = default;

int LxBaseProxyApp::OnStart() { return LxBaseKyrosApp::OnStart(); }
void LxBaseProxyApp::OnStop() { LxBaseKyrosApp::OnStop(); }
void LxBaseProxyApp::HandleVelInventoryEvent(const LxEventVelInv& event) {
  LxBaseKyrosApp::HandleVelInventoryEvent(event);
}
void LxBaseProxyApp::InitServerCfg() {}
bool LxBaseProxyApp::ServerIsEnabled() const { return false; }
void LxBaseProxyApp::InitOnStart() {}
void LxBaseProxyApp::HandleLocalServerPsiInfo(int /*velId*/, LxProductIdentSeq* /*psi*/) {}
void LxBaseProxyApp::MngDevDiscovered() {}
void LxBaseProxyApp::MngDevLost() {}

int LxBaseProxyApp::GetManagedDeviceVelId() const { return 0; }
LxPldProxy* LxBaseProxyApp::GetPldProxy() { return &standin::Proxy(); }

struct KyrosInfo::Impl {};

KyrosInfo::KyrosInfo() : m_impl(new Impl) {}
KyrosInfo::~KyrosInfo() { delete m_impl; }
std::string KyrosInfo::GetAppVersion() const { return "2.0-standin"; }
