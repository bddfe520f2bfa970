// SPDX-License-Identifier: Apache-2.0
#include "fakes/Platform.h"
#include "platform/framework/KyrosInfo.h"
#include "platform/framework/LxBaseApp.h"
#include "platform/framework/LxBaseKyrosApp.h"
#include "platform/framework/LxBaseProxyApp.h"

namespace {

LxBaseKyrosApp* g_application = nullptr;

void Record(const char* call) {
  const fakes::RecordLock lock(fakes::RecordMutex());
  fakes::platform().framework.calls.push_back(call);
}

}  // namespace

struct LxBaseApp::Impl {};

LxBaseApp::LxBaseApp(const std::string& name) : m_impl(nullptr) {
  fakes::platform().framework.name = name;
}
LxBaseApp::~LxBaseApp() { delete m_impl; }

int LxBaseApp::OnStart() {
  Record("LxBaseApp::OnStart");
  return 0;
}
void LxBaseApp::DoWork() { Record("LxBaseApp::DoWork"); }
void LxBaseApp::OnStop() { Record("LxBaseApp::OnStop"); }
void LxBaseApp::OnRunning() { Record("LxBaseApp::OnRunning"); }
void LxBaseApp::HandleSigTerm() { Record("LxBaseApp::HandleSigTerm"); }
void LxBaseApp::HandleSigPipe() { Record("LxBaseApp::HandleSigPipe"); }

void LxBaseApp::Start() {
  Record("LxBaseApp::Start");
  OnStart();
  while (!IsStop()) DoWork();
  OnStop();
}

bool LxBaseApp::IsStop() const { return fakes::platform().framework.stop; }

LxBaseKyrosApp::LxBaseKyrosApp(const std::string& name) : LxBaseApp(name) { g_application = this; }
LxBaseKyrosApp::~LxBaseKyrosApp() { g_application = nullptr; }
LxBaseKyrosApp* LxBaseKyrosApp::GetInstance() { return g_application; }

void LxBaseKyrosApp::OnRunning() { Record("LxBaseKyrosApp::OnRunning"); }
void LxBaseKyrosApp::HandleSigTerm() { Record("LxBaseKyrosApp::HandleSigTerm"); }
void LxBaseKyrosApp::HandleSigPipe() { Record("LxBaseKyrosApp::HandleSigPipe"); }
void LxBaseKyrosApp::HandleVelInventoryEvent(const LxEventVelInv&) {
  Record("LxBaseKyrosApp::HandleVelInventoryEvent");
}
void LxBaseKyrosApp::HandleCfgEvent(const LxConfigEvent&) {
  Record("LxBaseKyrosApp::HandleCfgEvent");
}
void LxBaseKyrosApp::HandleSystemEvent(const LxSystemEvent&) {
  Record("LxBaseKyrosApp::HandleSystemEvent");
}
void LxBaseKyrosApp::HandleLifeEvent(const LxLifeEvent&) {
  Record("LxBaseKyrosApp::HandleLifeEvent");
}
void LxBaseKyrosApp::HandleRemoteSvcEvent(const LxRemoteSvcEvent&) {
  Record("LxBaseKyrosApp::HandleRemoteSvcEvent");
}
bool LxBaseKyrosApp::RequiresEventListener() const {
  Record("LxBaseKyrosApp::RequiresEventListener");
  return false;
}
int LxBaseKyrosApp::GetEventListenerPort() const {
  Record("LxBaseKyrosApp::GetEventListenerPort");
  return 0;
}

LxBaseProxyApp::LxBaseProxyApp(const std::string& name) : LxBaseKyrosApp(name) {}
LxBaseProxyApp::~LxBaseProxyApp() = default;

int LxBaseProxyApp::OnStart() {
  Record("LxBaseProxyApp::OnStart");
  return 0;
}
void LxBaseProxyApp::OnStop() { Record("LxBaseProxyApp::OnStop"); }
void LxBaseProxyApp::HandleVelInventoryEvent(const LxEventVelInv&) {
  Record("LxBaseProxyApp::HandleVelInventoryEvent");
}
void LxBaseProxyApp::InitServerCfg() { Record("LxBaseProxyApp::InitServerCfg"); }
bool LxBaseProxyApp::ServerIsEnabled() const {
  Record("LxBaseProxyApp::ServerIsEnabled");
  return false;
}
void LxBaseProxyApp::InitOnStart() { Record("LxBaseProxyApp::InitOnStart"); }
void LxBaseProxyApp::HandleLocalServerPsiInfo(int, LxProductIdentSeq*) {
  Record("LxBaseProxyApp::HandleLocalServerPsiInfo");
}
void LxBaseProxyApp::MngDevDiscovered() { Record("LxBaseProxyApp::MngDevDiscovered"); }
void LxBaseProxyApp::MngDevLost() { Record("LxBaseProxyApp::MngDevLost"); }

int LxBaseProxyApp::GetManagedDeviceVelId() const {
  return fakes::platform().framework.managedVelId;
}

LxPldProxy* LxBaseProxyApp::GetPldProxy() {
  return fakes::platform().framework.hasProxy ? &fakes::platform().proxy : nullptr;
}

struct KyrosInfo::Impl {};

KyrosInfo::KyrosInfo() : m_impl(nullptr) {}
KyrosInfo::~KyrosInfo() { delete m_impl; }
std::string KyrosInfo::GetAppVersion() const { return fakes::platform().framework.appVersion; }
