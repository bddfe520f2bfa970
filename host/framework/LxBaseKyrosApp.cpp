// SPDX-License-Identifier: Apache-2.0
// The one instance, its readiness, and handlers that do nothing.
#include "platform/framework/LxBaseKyrosApp.h"

#include <atomic>

#include "host/framework/AppFramework.h"

namespace {

std::atomic<LxBaseKyrosApp*> g_instance{nullptr};

}  // namespace

LxBaseKyrosApp::LxBaseKyrosApp(const std::string& name) : LxBaseApp(name) {
  m_impl->deliver = [this](const LxConfigEvent& event) { HandleCfgEvent(event); };
  g_instance = this;
}

LxBaseKyrosApp::~LxBaseKyrosApp() { g_instance = nullptr; }

LxBaseKyrosApp* LxBaseKyrosApp::GetInstance() { return g_instance; }

void LxBaseKyrosApp::OnRunning() {
  LxBaseApp::OnRunning();
  host::AppFramework::Get().Notify().Send("READY=1");
}

void LxBaseKyrosApp::HandleSigTerm() { LxBaseApp::HandleSigTerm(); }
void LxBaseKyrosApp::HandleSigPipe() { LxBaseApp::HandleSigPipe(); }

void LxBaseKyrosApp::HandleVelInventoryEvent(const LxEventVelInv& /*event*/) {}
void LxBaseKyrosApp::HandleCfgEvent(const LxConfigEvent& /*event*/) {}
void LxBaseKyrosApp::HandleSystemEvent(const LxSystemEvent& /*event*/) {}
void LxBaseKyrosApp::HandleLifeEvent(const LxLifeEvent& /*event*/) {}
void LxBaseKyrosApp::HandleRemoteSvcEvent(const LxRemoteSvcEvent& /*event*/) {}
bool LxBaseKyrosApp::RequiresEventListener() const { return false; }
int LxBaseKyrosApp::GetEventListenerPort() const { return 0; }
