#ifndef HOST_CONFIG_SYSINFOHOST_H_
#define HOST_CONFIG_SYSINFOHOST_H_

#include <string>

#include "host/config/ConfigStore.h"
#include "platform/config/LxCfgSysInfo.h"

namespace host {

// The system information on a store, which it borrows.
class SysInfoHost : public cfg_sysinfo::LxCfgSysInfo {
 public:
  explicit SysInfoHost(ConfigStore& store) : m_store(store) {}

  bool Save() override;
  int GetSysName(std::string& name) const override;

 private:
  ConfigStore& m_store;
};

}  // namespace host

#endif  // HOST_CONFIG_SYSINFOHOST_H_
