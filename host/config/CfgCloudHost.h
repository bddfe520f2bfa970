#ifndef HOST_CONFIG_CFGCLOUDHOST_H_
#define HOST_CONFIG_CFGCLOUDHOST_H_

#include <map>
#include <string>

#include "host/config/ConfigStore.h"
#include "platform/config/CfgCloud.h"

namespace host {

// A random UUID (version 4) as text.
std::string RandomUuid();

// The cloud section on a store, which it borrows. Getters never fail; a setter answers 1 for a
// text that is not UTF-8.
class CfgCloudHost : public cfg_cloud::CfgCloud {
 public:
  explicit CfgCloudHost(ConfigStore& store) : m_store(store) {}

  bool Save() override;
  int GetEnableState(bool& enabled) const override;
  int GetUrl(std::string& url) const override;
  int GetUserEmail(std::string& email) const override;
  int GetKey(std::string& key) const override;
  int GetUnitName(std::string& name) const override;
  int SetUnitName(const std::string& name) override;
  int GetUUID(std::string& uuid) const override;
  int SetUUID(const std::string& uuid) override;
  int GetXAuthToken(std::string& token) const override;
  int SetXAuthToken(const std::string& token) override;
  bool IsFullyConfigured() const override;
  int LoadAllChassis() override;
  int GetConfiguredChassis(
      std::map<std::string, cfg_cloud::CfgCloudChassis>& chassis) const override;
  int GetNumCfgChassis(unsigned int& count) const override;
  int AddChassis(const std::string& id, int velId) override;
  int RemoveChassis(const std::string& id) override;
  int RemoveAllChassis() override;

 private:
  ConfigStore& m_store;
};

}  // namespace host

#endif  // HOST_CONFIG_CFGCLOUDHOST_H_
