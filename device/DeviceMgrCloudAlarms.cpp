// SPDX-License-Identifier: Apache-2.0
// Reading back the alarms that the service holds as not cleared.
#include <algorithm>
#include <cstdlib>
#include <limits>
#include <optional>
#include <stdexcept>

#include "base/CloudCfg.h"
#include "base/JsonText.h"
#include "base/Masked.h"
#include "device/DeviceMgr.h"
#include "device/DeviceMgrState.h"
#include "platform/util/dlog.h"

namespace cloudclient {

namespace {

// Decimal number at the start of a text, as far as its digits reach, negative after a "-"; 0
// without one.
int64_t LeadingNumber(const std::string& text) {
  const size_t sign = text.compare(0, 1, "-") == 0 ? 1 : 0;
  const size_t end = text.find_first_not_of("0123456789", sign);
  return strtoll(text.substr(0, end).c_str(), nullptr, 10);
}

// The value of `Number` that is nearest to `value`.
template <typename Number>
Number Clamped(int64_t value) {
  using Limits = std::numeric_limits<Number>;
  return static_cast<Number>(std::clamp<int64_t>(value, Limits::min(), Limits::max()));
}

struct Answer {
  HttpsResult result = kHttpsOk;
  std::string body;
  std::string header;
};

// One GET with the token. For an answer whose trailer is longer than its body the transport
// throws; this logs it and returns no answer.
std::optional<Answer> Ask(HttpsClient* httpsClient, const std::string& url,
                          const std::string& token, const char* caller) {
  Answer answer;
  try {
    answer.result = httpsClient->GetAuthDocument(url, answer.body, answer.header, token);
  } catch (const std::out_of_range&) {
    __dlog_printf(3, kUnit, "%s: answer without a body to cut  url: %s", caller,
                  Masked(url).c_str());
    return std::nullopt;
  }
  return answer;
}

}  // namespace

bool DeviceMgr::ReadAlarmsFromCloudForChassis(HttpsClient* httpsClient, const std::string& origin,
                                              std::vector<CloudAlarm>& alarms) {
  alarms.clear();
  const cfg_cloud::CfgCloud* const cfg = CloudCfg();
  std::string token;
  const int tokenStatus = cfg->GetXAuthToken(token);
  std::string baseUrl;
  const int urlStatus = cfg->GetUrl(baseUrl);
  if (urlStatus != 0) {
    __dlog_printf(3, kUnit, "%s: Failed(%d) to read URL", "ReadAlarmsFromCloudForChassis",
                  urlStatus);
    return false;
  }
  if (tokenStatus != 0) return false;
  bool isWhole = true;
  // Kept: docs/kept-behaviour.md#three-severities
  for (const char* severity : {"Fault", "Alarm", "Warning"}) {
    std::string listDocument;
    isWhole = AskForEvents(severity, origin, httpsClient, listDocument, baseUrl, token) &&
              ProcessAlarmList(httpsClient, listDocument, alarms, baseUrl, token) && isWhole;
  }
  return isWhole;
}

bool DeviceMgr::AskForEvents(const std::string& severity, const std::string& origin,
                             HttpsClient* httpsClient, std::string& listDocument,
                             const std::string& baseUrl, const std::string& token) {
  const std::string url = baseUrl + "/redfish/v1/Oem/Quorvan:Events?OriginOfCondition=" + origin +
                          "&Cleared=false&Severity=" + severity;
  const std::optional<Answer> answer = Ask(httpsClient, url, token, "AskForEvents");
  if (!answer) return false;
  if (answer->result != kHttpsOk) {
    __dlog_printf(3, kUnit, "%s: herr(%d)  hdr: %s", "AskForEvents",
                  static_cast<int>(answer->result), Masked(answer->header).c_str());
    __dlog_printf(3, kUnit, "%s: url: %s  resp: %s", "AskForEvents", Masked(url).c_str(),
                  Masked(answer->body).c_str());
    return false;
  }
  listDocument = answer->body;
  return true;
}

bool DeviceMgr::ProcessAlarmList(HttpsClient* httpsClient, const std::string& listDocument,
                                 std::vector<CloudAlarm>& alarms, const std::string& baseUrl,
                                 const std::string& token) {
  json_error_t error;
  const JsonRef root(json_loads(listDocument.c_str(), JSON_DECODE_ANY, &error));
  if (!root) {
    __dlog_printf(3, kUnit, "%s: Failed(pos: %d  text: %s) to parse alarm list (%s)",
                  "ProcessAlarmList", error.position, Masked(error.text).c_str(),
                  Masked(listDocument).c_str());
    return false;
  }
  bool isWhole = json_is_array(root.get());
  const int count = static_cast<int>(json_array_size(root.get()));
  __dlog_printf(7, kUnit, "%s: number of active events: %d", "ProcessAlarmList", count);
  for (int i = 0; i < count; ++i) {
    const json_t* const element = json_array_get(root.get(), static_cast<size_t>(i));
    if (element == nullptr) {
      __dlog_printf(3, kUnit, "%s: Failed to get odataref for index: %d", "ProcessAlarmList", i);
      continue;
    }
    const json_t* const odataId = json_object_get(element, "@odata.id");
    if (!json_is_string(odataId)) {
      __dlog_printf(3, kUnit, "%s: Failed to get odata object for index: %d", "ProcessAlarmList",
                    i);
      continue;
    }
    const std::string reference = JsonText(odataId);
    __dlog_printf(7, kUnit, "%s: event ref: %s", "ProcessAlarmList", Masked(reference).c_str());
    const std::string url = baseUrl + reference;
    __dlog_printf(7, kUnit, "%s: Get Event: %s", "ProcessAlarmList", Masked(url).c_str());
    const std::optional<Answer> answer = Ask(httpsClient, url, token, "ProcessAlarmList");
    if (!answer) continue;
    if (answer->result != kHttpsOk) {
      __dlog_printf(3, kUnit, "%s: failed to get specific event: %d  url: %s", "ProcessAlarmList",
                    static_cast<int>(answer->result), Masked(url).c_str());
      isWhole = false;
      continue;
    }
    __dlog_printf(7, kUnit, "%s: Got specific event: %s", "ProcessAlarmList",
                  Masked(answer->body).c_str());
    CloudAlarm alarm;
    if (InitCloudAlarmFromJson(answer->body, alarm)) alarms.push_back(alarm);
  }
  return isWhole;
}

bool DeviceMgr::InitCloudAlarmFromJson(const std::string& eventDocument, CloudAlarm& alarm) {
  json_error_t error;
  const JsonRef root(json_loads(eventDocument.c_str(), 0, &error));
  if (!root) {
    __dlog_printf(3, kUnit, "%s: Failed to parse (pos: %d  text: %s) cloud alarm: (%s)",
                  "InitCloudAlarmFromJson", error.position, Masked(error.text).c_str(),
                  Masked(eventDocument).c_str());
    return false;
  }
  std::string identifier = JsonMemberText(root.get(), "MessageId");
  identifier.erase(0, identifier.rfind('.') + 1);  // npos + 1 is 0: without a full stop all of it
  const std::string severity = JsonMemberText(root.get(), "Severity");
  const std::string argument =
      JsonText(json_array_get(json_object_get(root.get(), "MessageArgs"), 2));
  std::string message = JsonMemberText(root.get(), "Message");
  if (!message.empty() && message.back() == '.') message.pop_back();
  if (identifier.empty() || severity.empty() || argument.empty()) {
    __dlog_printf(3, kUnit, "%s: Failed to parse cloud alarm", "InitCloudAlarmFromJson");
    __dlog_printf(3, kUnit, "%s: cloudalarm json: %s", "InitCloudAlarmFromJson",
                  Masked(eventDocument).c_str());
    return false;
  }
  // Kept: docs/kept-behaviour.md#clearing-is-event-258
  const auto eventId = Clamped<uint32_t>(LeadingNumber(identifier));
  const auto module = Clamped<int32_t>(LeadingNumber(argument));
  alarm.SetEventId(eventId, GetMaxModuleCountForPoint(0, eventId) == 1 ? -1 : module);
  // Alarms are paired by number and argument: so one of module 2 pairs with the device's module 2.
  alarm.SetMessageArg(module);
  alarm.SetState(severity);
  alarm.SetMessage(message);
  return true;
}

// Kept: docs/kept-behaviour.md#uncalled-readers
void DeviceMgr::GetAlarmFromCloud(HttpsClient* httpsClient, const std::string& reference,
                                  std::vector<CloudAlarm>& alarms) {
  std::string baseUrl;
  const int urlStatus = CloudCfg()->GetUrl(baseUrl);
  if (urlStatus != 0) {
    __dlog_printf(3, kUnit, "%s: Failed to get cloud service URL (ccr: %d)", "GetAlarmFromCloud",
                  urlStatus);
    return;
  }
  std::string token;
  const int tokenStatus = CloudCfg()->GetXAuthToken(token);
  if (tokenStatus != 0) {
    __dlog_printf(3, kUnit, "%s: missing xauth token (ccr: %d)", "GetAlarmFromCloud", tokenStatus);
    return;
  }
  const std::optional<Answer> answer =
      Ask(httpsClient, baseUrl + reference, token, "GetAlarmFromCloud");
  if (!answer) return;
  if (answer->result != kHttpsOk) {
    __dlog_printf(3, kUnit,
                  "%s: Failed to get (%u) the Alarm (%s) from the Cloud Service (ccr: %d)",
                  "GetAlarmFromCloud", answer->result, Masked(reference).c_str(), 0);
    return;
  }
  const JsonRef root(json_loads(answer->body.c_str(), 0, nullptr));
  if (!root) {
    __dlog_printf(3, kUnit, "%s: failed to parse alarm document (ccr: %d)", "GetAlarmFromCloud", 0);
    return;
  }
  const json_t* const id = json_object_get(root.get(), "AlarmId");
  const json_t* const description = json_object_get(root.get(), "AlarmDescription");
  const json_t* const state = json_object_get(root.get(), "NotifyType");
  const json_t* const changed = json_object_get(root.get(), "StatusChangeTime");
  if (id == nullptr || description == nullptr || state == nullptr || changed == nullptr) {
    __dlog_printf(3, kUnit, "%s: Failed to parse an alarm object", "GetAlarmFromCloud");
    return;
  }
  CloudAlarm alarm;
  alarm.SetEventId(Clamped<uint32_t>(json_integer_value(id)), -1);
  alarm.SetMessage(JsonText(description));
  alarm.SetState(JsonText(state));
  alarm.SetCreated(JsonText(changed));
  alarms.push_back(alarm);
}

}  // namespace cloudclient
