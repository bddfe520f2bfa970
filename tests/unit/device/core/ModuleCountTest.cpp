// SPDX-License-Identifier: Apache-2.0
#include "CoreTest.h"

namespace device_core {

using testing::ElementsAre;
using testing::IsEmpty;

class ModuleCountTest : public CoreTest {};

TEST_F(ModuleCountTest, Is_that_of_the_report_that_holds_the_point) {
  engine.reports[1201] = 7;
  engine.moduleCounts[7] = 3;
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(2, 1201), 3);
  EXPECT_THAT(engine.asked, ElementsAre("report 2 1201", "modules 2 7"));
  EXPECT_THAT(Lines(), IsEmpty());
}

TEST_F(ModuleCountTest, Is_asked_once_a_point_whatever_the_device) {
  engine.reports[1201] = 7;
  engine.moduleCounts[7] = 3;
  mgr->GetMaxModuleCountForPoint(2, 1201);
  engine.moduleCounts[7] = 4;
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(2, 1201), 3);
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(9, 1201), 3);
  EXPECT_EQ(engine.asked.size(), 2u);
}

TEST_F(ModuleCountTest, Of_0_is_kept_as_well) {
  engine.reports[1201] = 7;
  engine.moduleCounts[7] = 0;
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(0, 1201), 0);
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(0, 1201), 0);
  EXPECT_EQ(engine.asked.size(), 2u);
}

TEST_F(ModuleCountTest, Is_queried_with_16_bits_and_kept_by_the_whole_point) {
  engine.reports[5] = 0x30007;
  engine.moduleCounts[7] = 3;
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(0x10001, 0x20005), 3);
  EXPECT_THAT(engine.asked, ElementsAre("report 1 5", "modules 1 7"));
  engine.asked.clear();
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(1, 5), 3);
  EXPECT_THAT(engine.asked, ElementsAre("report 1 5", "modules 1 7"));
}

TEST_F(ModuleCountTest, Is_0_without_a_report_and_asked_again) {
  engine.reportStatus = 12;
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(0x10001, 0x20005), 0);
  EXPECT_THAT(Lines(),
              ElementsAre("3 GetMaxModuleCountForPoint: Failed (LxDpStatus: 12) to get report "
                          "number for point(131077) on device(65537)"));
  EXPECT_THAT(engine.asked, ElementsAre("report 1 5"));
  engine.reportStatus = 0;
  engine.reports[5] = 7;
  engine.moduleCounts[7] = 2;
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(0x10001, 0x20005), 2);
}

TEST_F(ModuleCountTest, Is_0_when_the_report_has_none_and_asked_again) {
  engine.reports[5] = 0x30007;
  engine.moduleCountStatus = -4;
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(0x10001, 5), 0);
  EXPECT_THAT(Lines(),
              ElementsAre("3 GetMaxModuleCountForPoint: Failed (LxDpStatus: -4) to get max module "
                          "count for report(196615) on device(65537)"));
  engine.moduleCountStatus = 0;
  engine.moduleCounts[7] = 2;
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(0x10001, 5), 2);
}

TEST_F(ModuleCountTest, Is_0_without_a_proxy) {
  mgr->SetPldProxy(nullptr);
  EXPECT_EQ(mgr->GetMaxModuleCountForPoint(0, 1201), 0);
  EXPECT_THAT(Lines(), IsEmpty());
}

}  // namespace device_core
