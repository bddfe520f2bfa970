// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_FRAMEWORK_LXBASEPROXYAPP_H_
#define PLATFORM_FRAMEWORK_LXBASEPROXYAPP_H_

#include <string>

#include "platform/framework/LxBaseKyrosApp.h"

class LxPldProxy;
class LxProductIdentSeq;

// An application that stands for one managed device.
class LxBaseProxyApp : public LxBaseKyrosApp {
 public:
  explicit LxBaseProxyApp(const std::string& name);
  ~LxBaseProxyApp() override;

  // Base hooks: an application's own are expected to call them first.
  int OnStart() override;
  void OnStop() override;
  void HandleVelInventoryEvent(const LxEventVelInv& event) override;

  virtual void InitServerCfg();
  virtual bool ServerIsEnabled() const;
  virtual void InitOnStart();
  virtual void HandleLocalServerPsiInfo(int velId, LxProductIdentSeq* psi);
  virtual void MngDevDiscovered();
  virtual void MngDevLost();

  // Identifier of the managed device; negative while there is none.
  int GetManagedDeviceVelId() const;

  // The device-data engine's proxy; owned by the framework, lives as long as the application.
  // Null when the engine is not there.
  LxPldProxy* GetPldProxy();
};

#endif  // PLATFORM_FRAMEWORK_LXBASEPROXYAPP_H_
