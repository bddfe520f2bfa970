// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_CONFIG_CFGCLOUD_H_
#define PLATFORM_CONFIG_CFGCLOUD_H_

#include <map>
#include <string>

#include "platform/config/CfgCloudChassis.h"
#include "platform/config/LxAppCfg.h"

namespace cfg_cloud {

// The cloud section of the configuration.
//
// Getters and setters return 0 on success and otherwise an error code of the configuration layer,
// which callers only log; a getter that fails leaves its argument as it was. Setters change the
// value in memory; `Save` stores it.
class CfgCloud : public orv_cfgserver::LxAppCfg {
 public:
  // Name of the set at the factory.
  static const char* const CONFIGURATION_SET;

  // Whether the cloud client is enabled.
  virtual int GetEnableState(bool& enabled) const = 0;

  // Base URL of the service, without a slash at its end.
  virtual int GetUrl(std::string& url) const = 0;

  // The user's e-mail address and the key: together they authorise the registration.
  virtual int GetUserEmail(std::string& email) const = 0;
  virtual int GetKey(std::string& key) const = 0;

  // Name under which the appliance is known to the service.
  virtual int GetUnitName(std::string& name) const = 0;
  virtual int SetUnitName(const std::string& name) = 0;

  // The appliance's identity at the service. Setting an empty text stores a fresh random UUID.
  virtual int GetUUID(std::string& uuid) const = 0;
  virtual int SetUUID(const std::string& uuid) = 0;

  // The token of the registration; a non-empty one means that the appliance is registered.
  virtual int GetXAuthToken(std::string& token) const = 0;
  virtual int SetXAuthToken(const std::string& token) = 0;

  // True when every value that a registration needs is present.
  virtual bool IsFullyConfigured() const = 0;

  // The chassis list: the service's `Id` of a chassis to the managed device it stands for.
  // `LoadAllChassis` reads it from storage, the others work on what was read.
  // `GetConfiguredChassis` replaces the map it is given by a copy of the list.
  virtual int LoadAllChassis() = 0;
  virtual int GetConfiguredChassis(std::map<std::string, CfgCloudChassis>& chassis) const = 0;
  virtual int GetNumCfgChassis(unsigned int& count) const = 0;
  virtual int AddChassis(const std::string& id, int velId) = 0;
  virtual int RemoveChassis(const std::string& id) = 0;
  virtual int RemoveAllChassis() = 0;
};

}  // namespace cfg_cloud

#endif  // PLATFORM_CONFIG_CFGCLOUD_H_
