// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_FRAMEWORK_LXCONFIGEVENT_H_
#define PLATFORM_FRAMEWORK_LXCONFIGEVENT_H_

#include <string>
#include <vector>

// A change of configuration. Valid during the call that delivers it.
class LxConfigEvent {
 public:
  virtual ~LxConfigEvent() = default;

  // The set and the section that changed, and the names of the changed keys.
  virtual const std::string& GetConfigSetName() const = 0;
  virtual const std::string& GetConfigSectionName() const = 0;
  virtual const std::vector<std::string>& GetConfigKeyNames() const = 0;
};

#endif  // PLATFORM_FRAMEWORK_LXCONFIGEVENT_H_
