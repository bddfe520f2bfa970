// The system information.
#include "platform/config/LxCfgSysInfo.h"

#include "host/config/Configuration.h"
#include "host/config/SysInfoHost.h"

namespace cfg_sysinfo {

const char* const LxCfgSysInfo::CONFIGURATION_SET = "sysinfo";
const char* const LxCfgSysInfo::CFG_SECTION_INFO = "info";
const char* const LxCfgSysInfo::CFG_KEY_INFO_SYS_NAME = host::kSysName;

}  // namespace cfg_sysinfo

namespace host {

bool SysInfoHost::Save() { return m_store.Save(); }

int SysInfoHost::GetSysName(std::string& name) const {
  name = m_store.Text(kSysName);
  if (name.empty()) name = "Uninitialized";
  return 0;
}

}  // namespace host
