// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "base/CloudCfg.h"
#include "fakes/PlatformTest.h"

namespace unit {
namespace {

class CloudCfgTest : public fakes::PlatformTest {};

TEST_F(CloudCfgTest, Is_the_cloud_section_of_the_factory) {
  EXPECT_EQ(cloudclient::CloudCfg(), &fakes::platform().cloud);
  EXPECT_EQ(cloudclient::CloudCfg(), cloudclient::CloudCfg());
}

TEST_F(CloudCfgTest, System_information_is_its_own_set) {
  fakes::platform().sysInfo.sysName = "rack-7";
  std::string name;
  EXPECT_EQ(cloudclient::SysInfoCfg()->GetSysName(name), 0);
  EXPECT_EQ(name, "rack-7");
}

}  // namespace
}  // namespace unit
