// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "base/ServiceUrl.h"

namespace unit {
namespace {

TEST(ServiceUrlTest, Names_the_manager) {
  EXPECT_EQ(cloudclient::ManagerUrl("https://h", "u-1"), "https://h/redfish/v1/Managers/u-1");
}

TEST(ServiceUrlTest, Names_the_managers_events) {
  EXPECT_EQ(cloudclient::EventsUrl("https://h", "u-1"),
            "https://h/redfish/v1/Managers/u-1/Oem/Quorvan:Events");
}

TEST(ServiceUrlTest, Joins_texts_as_they_are) {
  EXPECT_EQ(cloudclient::ManagerUrl("", ""), "/redfish/v1/Managers/");
  EXPECT_EQ(cloudclient::ManagerUrl("h/", "a b%"), "h//redfish/v1/Managers/a b%");
}

}  // namespace
}  // namespace unit
