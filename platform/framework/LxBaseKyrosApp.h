// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_FRAMEWORK_LXBASEKYROSAPP_H_
#define PLATFORM_FRAMEWORK_LXBASEKYROSAPP_H_

#include <string>

#include "platform/framework/LxBaseApp.h"

class LxConfigEvent;
class LxEventVelInv;
class LxLifeEvent;
class LxRemoteSvcEvent;
class LxSystemEvent;

// An application that takes part in the appliance's events. Handlers run on the main thread, one at
// a time: between two work steps, and inside `IsStop` while `OnStart` runs.
class LxBaseKyrosApp : public LxBaseApp {
 public:
  explicit LxBaseKyrosApp(const std::string& name);
  ~LxBaseKyrosApp() override;

  // The one application object of the process; null while there is none.
  static LxBaseKyrosApp* GetInstance();

  void OnRunning() override;
  void HandleSigTerm() override;
  void HandleSigPipe() override;

  virtual void HandleVelInventoryEvent(const LxEventVelInv& event);
  virtual void HandleCfgEvent(const LxConfigEvent& event);
  virtual void HandleSystemEvent(const LxSystemEvent& event);
  virtual void HandleLifeEvent(const LxLifeEvent& event);
  virtual void HandleRemoteSvcEvent(const LxRemoteSvcEvent& event);
  // Whether, and at which port, the framework listens for events on the application's behalf.
  virtual bool RequiresEventListener() const;
  virtual int GetEventListenerPort() const;
};

#endif  // PLATFORM_FRAMEWORK_LXBASEKYROSAPP_H_
