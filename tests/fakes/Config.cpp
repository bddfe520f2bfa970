// SPDX-License-Identifier: Apache-2.0
#include "fakes/Config.h"

#include <utility>

#include "fakes/Platform.h"

namespace cfg_cloud {

const char* const CfgCloud::CONFIGURATION_SET = "cloud";

struct CfgCloudChassis::Impl {
  std::optional<int> velId;
};

CfgCloudChassis::CfgCloudChassis() : m_impl(new Impl) {}
CfgCloudChassis::CfgCloudChassis(int velId) : m_impl(new Impl{velId}) {}
CfgCloudChassis::CfgCloudChassis(const CfgCloudChassis& other) : m_impl(new Impl(*other.m_impl)) {}
CfgCloudChassis& CfgCloudChassis::operator=(const CfgCloudChassis& other) {
  *m_impl = *other.m_impl;
  return *this;
}
CfgCloudChassis::~CfgCloudChassis() { delete m_impl; }

int CfgCloudChassis::GetVelocityInstance(int& velId) const {
  if (!m_impl->velId) return 1;
  velId = *m_impl->velId;
  return 0;
}

}  // namespace cfg_cloud

namespace cfg_sysinfo {

const char* const LxCfgSysInfo::CONFIGURATION_SET = "sysinfo";
const char* const LxCfgSysInfo::CFG_SECTION_INFO = "Info";
const char* const LxCfgSysInfo::CFG_KEY_INFO_SYS_NAME = "SysName";

}  // namespace cfg_sysinfo

namespace fakes {
namespace {

void Record(const std::string& call) {
  const RecordLock lock(RecordMutex());
  platform().configCalls.push_back(call);
}

class Factory : public orv_cfgserver::LxAppCfgFactory {
 public:
  orv_cfgserver::LxAppCfg* GetCfg(const std::string& configurationSet) override {
    if (configurationSet == cfg_cloud::CfgCloud::CONFIGURATION_SET) return &platform().cloud;
    if (configurationSet == cfg_sysinfo::LxCfgSysInfo::CONFIGURATION_SET) {
      return &platform().sysInfo;
    }
    return nullptr;
  }
};

template <typename Value>
int Read(int status, const Value& from, Value& to) {
  if (status == 0) to = from;
  return status;
}

}  // namespace

int ConfigScript::Status(const char* operation) const {
  if (onCall) onCall(operation);
  const auto failure = fails.find(operation);
  return failure == fails.end() ? 0 : failure->second;
}

bool CloudConfig::Save() {
  Record("Save()");
  return Status("Save") == 0;
}

int CloudConfig::GetEnableState(bool& value) const {
  const int status = Status("GetEnableState");
  if (status == 0 || writesEnabledOnFailure) value = enabled;
  return status;
}

int CloudConfig::GetUrl(std::string& value) const { return Read(Status("GetUrl"), url, value); }

int CloudConfig::GetUserEmail(std::string& value) const {
  return Read(Status("GetUserEmail"), email, value);
}

int CloudConfig::GetKey(std::string& value) const { return Read(Status("GetKey"), key, value); }

int CloudConfig::GetUnitName(std::string& value) const {
  return Read(Status("GetUnitName"), unitName, value);
}

int CloudConfig::SetUnitName(const std::string& value) {
  Record("SetUnitName(" + value + ")");
  return Read(Status("SetUnitName"), value, unitName);
}

int CloudConfig::GetUUID(std::string& value) const { return Read(Status("GetUUID"), uuid, value); }

int CloudConfig::SetUUID(const std::string& value) {
  Record("SetUUID(" + value + ")");
  return Read(Status("SetUUID"), value.empty() ? freshUuid : value, uuid);
}

int CloudConfig::GetXAuthToken(std::string& value) const {
  return Read(Status("GetXAuthToken"), token, value);
}

int CloudConfig::SetXAuthToken(const std::string& value) {
  Record("SetXAuthToken(" + value + ")");
  return Read(Status("SetXAuthToken"), value, token);
}

bool CloudConfig::IsFullyConfigured() const {
  return Status("IsFullyConfigured") == 0 && fullyConfigured;
}

int CloudConfig::LoadAllChassis() {
  Record("LoadAllChassis()");
  return Status("LoadAllChassis");
}

int CloudConfig::GetConfiguredChassis(
    std::map<std::string, cfg_cloud::CfgCloudChassis>& list) const {
  const int status = Status("GetConfiguredChassis");
  if (status != 0) return status;
  list.clear();
  for (const auto& [id, velId] : chassis) {
    list[id] = velId ? cfg_cloud::CfgCloudChassis(*velId) : cfg_cloud::CfgCloudChassis();
  }
  return 0;
}

int CloudConfig::GetNumCfgChassis(unsigned int& count) const {
  const auto size = static_cast<unsigned int>(chassis.size());
  return Read(Status("GetNumCfgChassis"), numChassis.value_or(size), count);
}

int CloudConfig::AddChassis(const std::string& id, int velId) {
  Record("AddChassis(" + id + ", " + std::to_string(velId) + ")");
  const int status = Status("AddChassis");
  if (status == 0) chassis[id] = velId;
  return status;
}

int CloudConfig::RemoveChassis(const std::string& id) {
  Record("RemoveChassis(" + id + ")");
  const int status = Status("RemoveChassis");
  if (status == 0) chassis.erase(id);
  return status;
}

int CloudConfig::RemoveAllChassis() {
  Record("RemoveAllChassis()");
  const int status = Status("RemoveAllChassis");
  if (status == 0) chassis.clear();
  return status;
}

bool SysInfoConfig::Save() {
  Record("sysinfo Save()");
  return Status("Save") == 0;
}

int SysInfoConfig::GetSysName(std::string& name) const {
  return Read(Status("GetSysName"), sysName, name);
}

ConfigEvent::ConfigEvent(std::string set, std::string section, std::vector<std::string> keys)
    : m_set(std::move(set)), m_section(std::move(section)), m_keys(std::move(keys)) {}

ConfigEvent::ConfigEvent()
    : ConfigEvent(cfg_sysinfo::LxCfgSysInfo::CONFIGURATION_SET,
                  cfg_sysinfo::LxCfgSysInfo::CFG_SECTION_INFO,
                  {cfg_sysinfo::LxCfgSysInfo::CFG_KEY_INFO_SYS_NAME}) {}

}  // namespace fakes

namespace orv_cfgserver {

LxAppCfgFactory* LxAppCfgFactory::GetInstance() {
  static fakes::Factory* const factory = new fakes::Factory;
  return factory;
}

}  // namespace orv_cfgserver
