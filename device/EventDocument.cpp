// SPDX-License-Identifier: Apache-2.0
// The JSON text of an alarm that was raised or cleared.
#include "device/EventDocument.h"

namespace cloudclient {

// Nothing is escaped.
// Kept: docs/kept-behaviour.md#event-unescaped
std::string EventDocument(const CloudAlarm& alarm, const std::string& chassisId) {
  std::string document = R"({ "MessageId": ")";
  if (alarm.IsActive()) {
    document += alarm.GetMessageId() + R"(",)";
    document += R"("Severity": ")" + alarm.GetSeverity() + R"(",)";
    document += R"("MessageArgs": ["Unit1","System",")" + std::to_string(alarm.GetMessageArg()) +
                R"(", null],)";
    document += R"("Message": ")" + alarm.GetMessage() + R"(.",)";
  } else {
    document += R"(258",)";
    document += R"("Severity": "MESSAGE",)";
    document += R"("MessageArgs": ["Unit1","System",")" + alarm.GetClearedTime() + R"(",")" +
                alarm.GetMessageId() + R"("],)";
    document += R"("Message": ")" + alarm.GetMessage() + R"( (Cleared).",)";
  }
  document += R"("OriginOfCondition": {"@odata.id": "/redfish/v1/Chassis/)" + chassisId;
  document += R"("}, "Created": ")" + alarm.GetCreated() + R"("})";
  return document;
}

}  // namespace cloudclient
