// SPDX-License-Identifier: Apache-2.0
#include "HostTest.h"
#include "host/device/DataFolder.h"
#include "host/device/DeviceProxy.h"

namespace {

int g_calls = 0;

void CountEvent(int /*status*/, const LxPldEventNotification* /*event*/) { ++g_calls; }
void CountCov(int /*status*/, const LxPldCovNotification* /*cov*/) { ++g_calls; }
void CountActive(int /*status*/, const std::list<LxPldProxy::ActiveEvent*>& /*events*/) {
  ++g_calls;
}

class DeviceProxyTest : public HostTest {
 protected:
  host::DeviceEngine m_engine{ModelOf(R"({
    "ProductSequenceId": "1.2.3", "Label": "Rack",
    "Points": [{"Id": 1, "Value": "50", "Unit": "degF", "Modules": 2, "Report": 4}],
    "Events": [{"GddId": 7, "Text": "High"}]})")};
  host::DeviceProxy m_host{m_engine};
  LxPldProxy& m_proxy = m_host;
};

}  // namespace

TEST_F(DeviceProxyTest, Every_device_number_is_answered) {
  std::string text;
  for (uint16_t device : {0, 1, 65535}) {
    EXPECT_EQ(m_proxy.GetPointText(text, device, 1, 1, 0, 0, 0, 0), 0);
    EXPECT_EQ(text, "50");
  }
}

TEST_F(DeviceProxyTest, Argument_4125_asks_for_celsius) {
  std::string text;
  EXPECT_EQ(m_proxy.GetPointText(text, 0, 1, 1, 0, 4125, 0, 0), 0);
  EXPECT_EQ(text, "10");
}

TEST_F(DeviceProxyTest, Unknown_numbers_answer_failure_and_an_empty_text) {
  std::string text = "stale";
  EXPECT_NE(m_proxy.GetPointText(text, 0, 2, 1, 0, 0, 0, 0), 0);
  EXPECT_EQ(text, "");
  text = "stale";
  EXPECT_NE(m_proxy.GetEventText(text, 0, 1, 0, 0, "%s"), 0);
  EXPECT_EQ(text, "");
}

TEST_F(DeviceProxyTest, Label_and_event_text_are_answered) {
  std::string text;
  EXPECT_EQ(m_proxy.GetPointText(text, 0, 4329, 1, 0, 0, 0, 0), 0);
  EXPECT_EQ(text, "Rack");
  EXPECT_EQ(m_proxy.GetEventText(text, 0, 7, 0, 0, "%s"), 0);
  EXPECT_EQ(text, "High");
}

TEST_F(DeviceProxyTest, Report_and_module_count) {
  uint32_t number = 0;
  EXPECT_EQ(m_proxy.GetReportNumber(0, 1, number), 0);
  EXPECT_EQ(number, 4u);
  EXPECT_EQ(m_proxy.GetMaxModuleCount(0, 4, number), 0);
  EXPECT_EQ(number, 2u);
  EXPECT_NE(m_proxy.GetReportNumber(0, 2, number), 0);
  EXPECT_NE(m_proxy.GetMaxModuleCount(0, 2, number), 0);
  EXPECT_EQ(number, 2u);
}

TEST_F(DeviceProxyTest, Resolution_leaves_the_factor) {
  int32_t factor = 5;
  EXPECT_EQ(m_proxy.GetResolution(factor, 0, 1), 0);
  EXPECT_NE(m_proxy.GetResolution(factor, 0, 2), 0);
  EXPECT_EQ(factor, 5);
}

TEST_F(DeviceProxyTest, Sequence_id_is_owned_by_the_proxy) {
  LxProductIdentSeq* psi = nullptr;
  ASSERT_TRUE(m_proxy.GetProdSeqId(&psi, 0));
  std::string text;
  psi->ConvertPsiToStr(text);
  EXPECT_EQ(text, "1.2.3");
  host::DeviceEngine nameless(ModelOf("{}"));
  EXPECT_FALSE(host::DeviceProxy(nameless).GetProdSeqId(&psi, 0));
}

TEST_F(DeviceProxyTest, Notifications_are_dispatched) {
  EXPECT_EQ(m_proxy.RegisterEventNotification(&CountEvent, 0, 0), 0);
  EXPECT_EQ(m_proxy.RegisterCovNotification(&CountCov, 0, 0), 0);
  EXPECT_EQ(m_proxy.DispatchEvents(), 0);
  EXPECT_EQ(m_proxy.DispatchCovs(), 0);
  EXPECT_EQ(g_calls, 0);
  EXPECT_FALSE(m_engine.SetPoint(1, "2"));
  EXPECT_FALSE(m_engine.SetEvent(7, 0, 3));
  EXPECT_EQ(m_proxy.DispatchEvents(), 0);
  EXPECT_EQ(m_proxy.DispatchCovs(), 0);
  EXPECT_EQ(g_calls, 2);
}

TEST_F(DeviceProxyTest, Active_events_call_back_before_the_call_returns) {
  EXPECT_EQ(m_proxy.GetActiveEvents(&CountActive, 0), 0);
  EXPECT_EQ(g_calls, 1);
  EXPECT_NE(m_proxy.GetActiveEvents(nullptr, 0), 0);
}

TEST_F(DeviceProxyTest, Missing_data_files_are_named_at_level_4) {
  Write("/var/local/orv/pldserver/0/1/cloudchassis.txt", "{}");
  host::CheckDataFiles("1.2.3");
  EXPECT_EQ(LogCount("cloudchassis.txt"), 0);
  EXPECT_EQ(LogCount("4 Host covpatchmap.txt is neither in /var/local/orv/pldserver/0/1/2/3 nor in "
                     "a folder above it"),
            1);
}

TEST_F(DeviceProxyTest, Data_files_are_looked_for_up_to_the_first_folder) {
  Write("/var/cloudchassis.txt", "{}");
  Write("/covpatchmap.txt", "{}");
  host::CheckDataFiles("");
  EXPECT_EQ(LogCount("cloudchassis.txt"), 0);
  EXPECT_EQ(LogCount("covpatchmap.txt is neither in /var/local/orv/pldserver/0 nor in"), 1);
}

TEST_F(DeviceProxyTest, Data_files_of_a_device_without_a_sequence_id_are_not_looked_for) {
  host::CheckDataFiles(std::nullopt);
  EXPECT_EQ(LogCount("4 Host the device has no product sequence id"), 1);
}
