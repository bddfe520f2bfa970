// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_FRAMEWORK_APPFRAMEWORK_H_
#define HOST_FRAMEWORK_APPFRAMEWORK_H_

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "host/config/ConfigWatch.h"
#include "host/device/DeviceService.h"
#include "host/framework/NotifySocket.h"
#include "host/framework/SignalWatch.h"
#include "host/util/EventThread.h"
#include "platform/framework/LxBaseApp.h"

class LxConfigEvent;

namespace host {

// What the process runs beside the application: the event thread with the signals, the watched
// configuration and the service manager. Made by the main thread with the application, never
// destroyed: it watches over the end of the process as well.
class AppFramework {
 public:
  static AppFramework& Get();

  EventLoop& Loop() { return m_loop; }
  SignalWatch& Signals() { return m_signals; }
  NotifySocket& Notify() { return m_notify; }

  // Hands what changed in the configuration since the last call to `deliver`, an event a section.
  void DeliverChanges(const std::function<void(const LxConfigEvent&)>& deliver);

 private:
  AppFramework();

  EventLoop m_loop;
  NotifySocket m_notify;
  ConfigWatch m_config;
  SignalWatch m_signals;
  std::unique_ptr<Watchdog> m_watchdog;
};

}  // namespace host

// The framework's part of an application object.
struct LxBaseApp::Impl {
  // Hands what changed to the application's handler, when `listener` is the calling thread.
  void DeliverToListener();

  std::string name;
  bool stopped = false;                               // `Start` has returned
  std::function<void(const LxConfigEvent&)> deliver;  // to the application's handler
  std::unique_ptr<host::DeviceService> device;
  // The thread to which `IsStop` delivers: the main thread while it is in `OnStart` and in no
  // handler, else none.
  std::atomic<std::thread::id> listener{std::thread::id()};
};

#endif  // HOST_FRAMEWORK_APPFRAMEWORK_H_
