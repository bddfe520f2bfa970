// SPDX-License-Identifier: Apache-2.0
#ifndef FAKES_CONFIG_H_
#define FAKES_CONFIG_H_

#include <functional>
#include <map>
#include <optional>
#include <string>

#include "platform/config/CfgCloud.h"
#include "platform/config/LxCfgSysInfo.h"
#include "platform/framework/LxConfigEvent.h"

namespace fakes {

// What both configuration sets can be told.
struct ConfigScript {
  // Error code of an operation by its name ("GetUrl"); `Save` is false with any.
  std::map<std::string, int> fails;
  // Called before each operation with its name; may change any value.
  std::function<void(const std::string& operation)> onCall;

  int Status(const char* operation) const;
};

// The cloud section: complete, enabled, not registered.
class CloudConfig : public cfg_cloud::CfgCloud, public ConfigScript {
 public:
  bool enabled = true;
  std::string url = "https://cloud.example";
  std::string email = "owner@example.com";
  std::string key = "key-1";
  std::string unitName = "unit-1";
  std::string uuid = "6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11";
  std::string freshUuid = "0d9a3f70-52c4-4b51-8c1e-3b6f0f2f7c22";  // SetUUID("") stores it
  std::string token;
  bool fullyConfigured = true;
  // Chassis to device; an entry without a device has no velocity instance.
  std::map<std::string, std::optional<int>> chassis;
  // What GetNumCfgChassis answers instead of the list's size.
  std::optional<unsigned int> numChassis;
  // GetEnableState writes its argument although it fails.
  bool writesEnabledOnFailure = false;

  bool Save() override;
  int GetEnableState(bool& value) const override;
  int GetUrl(std::string& value) const override;
  int GetUserEmail(std::string& value) const override;
  int GetKey(std::string& value) const override;
  int GetUnitName(std::string& value) const override;
  int SetUnitName(const std::string& value) override;
  int GetUUID(std::string& value) const override;
  int SetUUID(const std::string& value) override;
  int GetXAuthToken(std::string& value) const override;
  int SetXAuthToken(const std::string& value) override;
  bool IsFullyConfigured() const override;
  int LoadAllChassis() override;
  int GetConfiguredChassis(std::map<std::string, cfg_cloud::CfgCloudChassis>& list) const override;
  int GetNumCfgChassis(unsigned int& count) const override;
  int AddChassis(const std::string& id, int velId) override;
  int RemoveChassis(const std::string& id) override;
  int RemoveAllChassis() override;
};

class SysInfoConfig : public cfg_sysinfo::LxCfgSysInfo, public ConfigScript {
 public:
  std::string sysName = "unit-1";

  bool Save() override;
  int GetSysName(std::string& name) const override;
};

// A change of configuration as the framework delivers it.
class ConfigEvent : public LxConfigEvent {
 public:
  ConfigEvent(std::string set, std::string section, std::vector<std::string> keys);
  // The change of the system name.
  ConfigEvent();

  const std::string& GetConfigSetName() const override { return m_set; }
  const std::string& GetConfigSectionName() const override { return m_section; }
  const std::vector<std::string>& GetConfigKeyNames() const override { return m_keys; }

 private:
  std::string m_set;
  std::string m_section;
  std::vector<std::string> m_keys;
};

}  // namespace fakes

#endif  // FAKES_CONFIG_H_
