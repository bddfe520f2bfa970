// SPDX-License-Identifier: Apache-2.0
// What the process runs beside the application, and the delivery of changed configuration.
#include "host/framework/AppFramework.h"

#include <malloc.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>
#include <vector>

#include "host/config/ConfigKeys.h"
#include "host/util/Paths.h"
#include "platform/config/CfgCloud.h"
#include "platform/config/LxCfgSysInfo.h"
#include "platform/framework/LxConfigEvent.h"
#include "platform/util/LocalPath.h"

namespace host {
namespace {

class ConfigEvent : public LxConfigEvent {
 public:
  ConfigEvent(std::string set, std::string section, std::vector<std::string> keys)
      : m_set(std::move(set)), m_section(std::move(section)), m_keys(std::move(keys)) {}

  const std::string& GetConfigSetName() const override { return m_set; }
  const std::string& GetConfigSectionName() const override { return m_section; }
  const std::vector<std::string>& GetConfigKeyNames() const override { return m_keys; }

 private:
  const std::string m_set;
  const std::string m_section;
  const std::vector<std::string> m_keys;
};

void Deliver(ConfigStore& store, const char* set, const char* section,
             const std::function<void(const LxConfigEvent&)>& deliver) {
  std::vector<std::string> keys = store.TakeChanges();
  if (!keys.empty() && deliver) deliver(ConfigEvent(set, section, std::move(keys)));
}

}  // namespace

AppFramework& AppFramework::Get() {
  static auto* framework = new AppFramework;
  return *framework;
}

AppFramework::AppFramework()
    : m_notify(std::getenv("NOTIFY_SOCKET")),
      m_config(LocalPath(kConfigFolder), {&CloudStore(), &SysInfoStore()}),
      m_signals({[this] { m_config.ReloadAll(); }, [this] { m_notify.Send("STOPPING=1"); },
                 [mainThread = pthread_self()] { pthread_kill(mainThread, SIGURG); },
                 [](int status) { _exit(status); }}) {
  // Threads wait for each other or for a clock: a heap for each would only keep what its largest
  // request once took.
  mallopt(M_ARENA_MAX, 1);
  PrepareSignals();
  m_loop.Add(&m_signals);
  m_loop.Add(&m_config);
  const int64_t interval =
      WatchdogIntervalMs(std::getenv("WATCHDOG_USEC"), std::getenv("WATCHDOG_PID"));
  if (interval > 0) {
    m_watchdog = std::make_unique<Watchdog>(m_notify, interval);
    m_loop.Add(m_watchdog.get());
  }
  StartEventThread(m_loop);
}

void AppFramework::DeliverChanges(const std::function<void(const LxConfigEvent&)>& deliver) {
  // The cloud section bears the name of its set.
  const char* cloud = cfg_cloud::CfgCloud::CONFIGURATION_SET;
  Deliver(CloudStore(), cloud, cloud, deliver);
  Deliver(SysInfoStore(), cfg_sysinfo::LxCfgSysInfo::CONFIGURATION_SET,
          cfg_sysinfo::LxCfgSysInfo::CFG_SECTION_INFO, deliver);
}

}  // namespace host
