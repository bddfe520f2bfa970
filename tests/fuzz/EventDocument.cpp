// SPDX-License-Identifier: Apache-2.0
// Event documents of the service.
#include "Fuzz.h"
#include "device/DeviceMgr.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static cloudclient::DeviceMgr* const device = cloudclient::DeviceMgr::GetInstance();
  cloudclient::CloudAlarm alarm;
  if (!device->InitCloudAlarmFromJson(fuzz::Input(data, size).Rest(), alarm)) {
    fuzz::Require(alarm.GetMessageId().empty() && alarm.GetMessage().empty(),
                  "a document that does not parse leaves the alarm as it was");
  }
  fuzz::Forget();
  return 0;
}
