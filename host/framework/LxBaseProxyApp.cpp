// SPDX-License-Identifier: Apache-2.0
// The application with a managed device.
#include "platform/framework/LxBaseProxyApp.h"

#include "host/framework/AppFramework.h"

LxBaseProxyApp::LxBaseProxyApp(const std::string& name) : LxBaseKyrosApp(name) {
  m_impl->device = std::make_unique<host::DeviceService>(host::AppFramework::Get().Loop());
}

LxBaseProxyApp::~LxBaseProxyApp() { m_impl->device.reset(); }

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

int LxBaseProxyApp::GetManagedDeviceVelId() const { return m_impl->device->VelId(); }

LxPldProxy* LxBaseProxyApp::GetPldProxy() { return &m_impl->device->Proxy(); }
