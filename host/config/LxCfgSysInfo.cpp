// SPDX-License-Identifier: Apache-2.0
// The system information.
#include "platform/config/LxCfgSysInfo.h"

#include "host/config/ConfigKeys.h"
#include "host/config/ConfigObjects.h"

namespace cfg_sysinfo {

const char* const LxCfgSysInfo::CONFIGURATION_SET = "sysinfo";
const char* const LxCfgSysInfo::CFG_SECTION_INFO = "info";
const char* const LxCfgSysInfo::CFG_KEY_INFO_SYS_NAME = host::kSysName;

}  // namespace cfg_sysinfo

namespace host {
namespace {

class StoredSysInfo : public cfg_sysinfo::LxCfgSysInfo {
 public:
  explicit StoredSysInfo(ConfigStore& store) : m_store(store) {}

  bool Save() override { return m_store.Save(); }

  int GetSysName(std::string& name) const override {
    name = m_store.Text(kSysName);
    if (name.empty()) name = "Uninitialized";
    return 0;
  }

 private:
  ConfigStore& m_store;
};

}  // namespace

std::unique_ptr<cfg_sysinfo::LxCfgSysInfo> SysInfoOn(ConfigStore& store) {
  return std::make_unique<StoredSysInfo>(store);
}

}  // namespace host
