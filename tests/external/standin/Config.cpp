// SPDX-License-Identifier: Apache-2.0
// Configuration in memory: only the URL is given, by the variable STANDIN_URL.
#include <cstdlib>
#include <map>
#include <mutex>
#include <string>

#include "platform/config/CfgCloud.h"
#include "platform/config/LxCfgSysInfo.h"

namespace cfg_cloud {

const char* const CfgCloud::CONFIGURATION_SET = "cloud";

struct CfgCloudChassis::Impl {
  bool known = false;
  int velId = 0;
};

CfgCloudChassis::CfgCloudChassis() : m_impl(new Impl) {}
CfgCloudChassis::CfgCloudChassis(int velId) : m_impl(new Impl{true, velId}) {}
CfgCloudChassis::CfgCloudChassis(const CfgCloudChassis& other) : m_impl(new Impl(*other.m_impl)) {}
CfgCloudChassis::~CfgCloudChassis() { delete m_impl; }

CfgCloudChassis& CfgCloudChassis::operator=(const CfgCloudChassis& other) {
  if (this != &other) *m_impl = *other.m_impl;
  return *this;
}

int CfgCloudChassis::GetVelocityInstance(int& velId) const {
  if (!m_impl->known) return 1;
  velId = m_impl->velId;
  return 0;
}

}  // namespace cfg_cloud

namespace cfg_sysinfo {

const char* const LxCfgSysInfo::CONFIGURATION_SET = "sysinfo";
const char* const LxCfgSysInfo::CFG_SECTION_INFO = "info";
const char* const LxCfgSysInfo::CFG_KEY_INFO_SYS_NAME = "name";

}  // namespace cfg_sysinfo

namespace {

using cfg_cloud::CfgCloudChassis;
using Guard = std::lock_guard<std::mutex>;

class Cloud : public cfg_cloud::CfgCloud {
 public:
  bool Save() override { return true; }

  int GetEnableState(bool& enabled) const override {
    enabled = true;
    return 0;
  }
  int GetUrl(std::string& url) const override {
    const char* const given = std::getenv("STANDIN_URL");
    if (given == nullptr) return 1;
    url = given;
    return 0;
  }
  int GetUserEmail(std::string& email) const override { return Copy("keeper@example.org", email); }
  int GetKey(std::string& key) const override { return Copy("key", key); }

  int GetUnitName(std::string& name) const override { return Get(m_unitName, name); }
  int SetUnitName(const std::string& name) override { return Set(m_unitName, name); }
  int GetUUID(std::string& uuid) const override { return Get(m_uuid, uuid); }
  int SetUUID(const std::string& uuid) override {
    return Set(m_uuid, uuid.empty() ? "50a593d0-a5bf-4bf0-8f3a-6d7a7c3e5a54" : uuid);
  }
  int GetXAuthToken(std::string& token) const override { return Get(m_token, token); }
  int SetXAuthToken(const std::string& token) override { return Set(m_token, token); }

  bool IsFullyConfigured() const override { return std::getenv("STANDIN_URL") != nullptr; }

  int LoadAllChassis() override { return 0; }
  int GetConfiguredChassis(std::map<std::string, CfgCloudChassis>& chassis) const override {
    return Get(m_chassis, chassis);
  }
  int GetNumCfgChassis(unsigned int& count) const override {
    const Guard guard(m_mutex);
    count = static_cast<unsigned int>(m_chassis.size());
    return 0;
  }
  int AddChassis(const std::string& id, int velId) override {
    const Guard guard(m_mutex);
    m_chassis[id] = CfgCloudChassis(velId);
    return 0;
  }
  int RemoveChassis(const std::string& id) override {
    const Guard guard(m_mutex);
    m_chassis.erase(id);
    return 0;
  }
  int RemoveAllChassis() override { return Set(m_chassis, {}); }

 private:
  static int Copy(const char* from, std::string& to) {
    to = from;
    return 0;
  }
  template <typename Value>
  int Get(const Value& from, Value& to) const {
    const Guard guard(m_mutex);
    to = from;
    return 0;
  }
  template <typename Value>
  int Set(Value& to, const Value& from) {
    const Guard guard(m_mutex);
    to = from;
    return 0;
  }

  mutable std::mutex m_mutex;
  std::string m_unitName;
  std::string m_uuid;
  std::string m_token;
  std::map<std::string, CfgCloudChassis> m_chassis;
};

class SysInfo : public cfg_sysinfo::LxCfgSysInfo {
 public:
  bool Save() override { return true; }
  int GetSysName(std::string& name) const override {
    name = "Stand-in";
    return 0;
  }
};

class Factory : public orv_cfgserver::LxAppCfgFactory {
 public:
  orv_cfgserver::LxAppCfg* GetCfg(const std::string& configurationSet) override {
    if (configurationSet == cfg_cloud::CfgCloud::CONFIGURATION_SET) return &m_cloud;
    if (configurationSet == cfg_sysinfo::LxCfgSysInfo::CONFIGURATION_SET) return &m_sysInfo;
    return nullptr;
  }

 private:
  Cloud m_cloud;
  SysInfo m_sysInfo;
};

}  // namespace

orv_cfgserver::LxAppCfgFactory* orv_cfgserver::LxAppCfgFactory::GetInstance() {
  // Never destroyed: threads may still ask while the process ends.
  static auto* const factory = new Factory;
  return factory;
}
