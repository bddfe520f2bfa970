// SPDX-License-Identifier: Apache-2.0
#include "HostTest.h"
#include "Scarcity.h"
#include "SystemCalls.h"
#include "host/device/DeviceService.h"
#include "host/util/Paths.h"

using DeviceServiceTest = HostTest;

TEST_F(DeviceServiceTest, Start_waits_a_second_at_most_for_the_first_values) {
  Write(host::kDeviceFile, R"({"Points": [
    {"Id": 1, "Source": {"Type": "file", "Path": "/sys/temp"}}]})");
  int64_t nowUs = 100000000;
  g_monotonicUs = [&nowUs] { return nowUs; };
  g_usleep = [&nowUs](int64_t us) { nowUs += us; };
  {
    host::EventLoop loop;
    const NoThreads none;  // so that nobody reads the source
    const host::DeviceService service(loop);
    EXPECT_EQ(nowUs, 101000000);
  }
  g_monotonicUs = nullptr;
  g_usleep = nullptr;
}
