// SPDX-License-Identifier: Apache-2.0
#ifndef PLATFORM_CONFIG_CFGCLOUDCHASSIS_H_
#define PLATFORM_CONFIG_CFGCLOUDCHASSIS_H_

namespace cfg_cloud {

// One configured chassis. A value: copied freely.
class CfgCloudChassis {
 public:
  CfgCloudChassis();
  explicit CfgCloudChassis(int velId);
  CfgCloudChassis(const CfgCloudChassis& other);
  CfgCloudChassis& operator=(const CfgCloudChassis& other);
  ~CfgCloudChassis();

  // Writes the managed device's identifier to `velId` and returns 0; non-zero, and `velId` as it
  // was, when the entry holds none (a default-constructed one).
  int GetVelocityInstance(int& velId) const;

 private:
  struct Impl;
  Impl* m_impl;
};

}  // namespace cfg_cloud

#endif  // PLATFORM_CONFIG_CFGCLOUDCHASSIS_H_
