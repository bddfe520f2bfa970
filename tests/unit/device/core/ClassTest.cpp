// SPDX-License-Identifier: Apache-2.0
// What the classes of the daemon are to whoever holds them: each is destroyed through a virtual
// destructor and has no other virtual operation.
#include <string>
#include <type_traits>

#include "device/DeviceMgr.h"
#include "fakes/Slots.h"
#include "gtest/gtest.h"

namespace device_core {

// The first slot behind those of a class, in one that is derived from it and never made.
template <typename Class>
struct Extended : Class {
  virtual void Further() {}
};

template <typename Class>
class ClassTest : public testing::Test {};

typedef testing::Types<cloudclient::DeviceMgr, cloudclient::PatchMgr, cloudclient::HttpsClient,
                       cloudclient::CloudAlarm, cloudclient::DeviceActiveAlarmsMgr>
    Classes;

template <typename Class>
constexpr const char* kName = nullptr;
template <>
constexpr const char* kName<cloudclient::DeviceMgr> = "DeviceMgr";
template <>
constexpr const char* kName<cloudclient::PatchMgr> = "PatchMgr";
template <>
constexpr const char* kName<cloudclient::HttpsClient> = "HttpsClient";
template <>
constexpr const char* kName<cloudclient::CloudAlarm> = "CloudAlarm";
template <>
constexpr const char* kName<cloudclient::DeviceActiveAlarmsMgr> = "DeviceActiveAlarmsMgr";

struct NameOf {
  template <typename Class>
  static std::string GetName(int) {
    return kName<Class>;
  }
};
TYPED_TEST_SUITE(ClassTest, Classes, NameOf);

TYPED_TEST(ClassTest, Has_a_virtual_destructor_and_no_other_virtual_operation) {
  EXPECT_TRUE(std::has_virtual_destructor_v<TypeParam>);
  EXPECT_EQ(fakes::SlotOf(&Extended<TypeParam>::Further), 2);  // behind the destructor's two
}

}  // namespace device_core
