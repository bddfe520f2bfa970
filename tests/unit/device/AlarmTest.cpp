// SPDX-License-Identifier: Apache-2.0
#include "AlarmTest.h"

#include "base/JsonText.h"

namespace cloudclient {

using fakes::platform;

namespace {

constexpr char kBaseUrl[] = "https://cloud.example";

std::string Said(const std::string& document) {
  const JsonRef root(json_loads(document.c_str(), 0, nullptr));
  if (!root) return "not JSON: " + document;
  std::string identifier = JsonMemberText(root.get(), "MessageId");
  std::string state = JsonMemberText(root.get(), "Severity");
  if (identifier == "258") {
    identifier = JsonText(json_array_get(json_object_get(root.get(), "MessageArgs"), 3));
    state = "cleared";
  }
  const std::string origin =
      JsonMemberText(json_object_get(root.get(), "OriginOfCondition"), "@odata.id");
  return identifier + " " + state + " of " + origin.substr(origin.rfind('/') + 1);
}

}  // namespace

AlarmTest::AlarmTest() = default;

void AlarmTest::SetUp() {
  PlatformTest::SetUp();
  platform().cloud.token = "token-1";
  m_eventMutex = platform().mutexes.made;  // the manager's first mutex
  mgr = DeviceMgr::GetInstance();
  mgr->SetPldProxy(&platform().proxy);
  mgr->SetHttpsClient(&client);
  uint32_t code = 0;
  ASSERT_EQ(client.InitCurl(code), kHttpsOk);
  service.answers("POST", kEventsPath, 201);
}

CloudAlarm AlarmTest::Alarm(uint32_t gddId, int instance, const std::string& severity,
                            const std::string& message) {
  CloudAlarm alarm;
  alarm.SetEventId(gddId, instance);
  alarm.SetMessage(message);
  alarm.SetMessageArg(instance < 0 ? 0 : instance);
  alarm.SetAlarmKey(0);
  alarm.SetState(severity);
  return alarm;
}

std::string AlarmTest::ListPath(const std::string& chassis, const std::string& severity) {
  return "/redfish/v1/Oem/Quorvan:Events?OriginOfCondition=" + chassis +
         "&Cleared=false&Severity=" + severity;
}

void AlarmTest::ServiceLists(const std::string& chassis, const std::string& severity,
                             const std::string& body, long status) {
  service.answers("GET", ListPath(chassis, severity), status, body);
}

std::string AlarmTest::EventOf(const HeldAlarm& held) {
  return "{\"MessageId\": \"Zarvel.GDD." + std::to_string(held.gddId) + ":" +
         std::to_string(held.module) + "\", \"Severity\": \"" + held.severity +
         "\", \"MessageArgs\": [\"Unit1\", \"System\", \"" + std::to_string(held.module) +
         "\", null], \"Message\": \"" + held.message + "\"}";
}

void AlarmTest::ServiceHolds(const std::string& chassis, const std::vector<HeldAlarm>& held) {
  for (const char* severity : {"Fault", "Alarm", "Warning"}) {
    std::string list;
    for (const HeldAlarm& alarm : held) {
      if (alarm.severity != severity) continue;
      const std::string path = "/event/" + std::to_string(++m_events);
      service.answers("GET", path, 200, EventOf(alarm));
      list += (list.empty() ? "" : ", ") + ("{\"@odata.id\": \"" + path + "\"}");
    }
    ServiceLists(chassis, severity, "[" + list + "]");
  }
}

void AlarmTest::AnswersWithTrailer(const std::string& path, const std::string& trailer) {
  const auto answer = fakes::curl().respond;
  fakes::curl().respond = [=](const fakes::Transfer& transfer) {
    fakes::Response response = answer(transfer);
    if (transfer.url == kBaseUrl + path) response.trailer = trailer;
    return response;
  };
}

std::vector<std::string> AlarmTest::Log(int level) const {
  std::vector<std::string> lines;
  for (const fakes::LogRecord& record : platform().log.records) {
    if (record.unit != "DeviceMgr" || record.level > level) continue;
    lines.push_back(std::to_string(record.level) + " " + record.text);
  }
  return lines;
}

std::vector<std::string> AlarmTest::Documents() const {
  std::vector<std::string> documents;
  for (const fakes::Request& request : service.requests("POST", kEventsPath)) {
    documents.push_back(request.document);
  }
  return documents;
}

std::vector<std::string> AlarmTest::Posted() const {
  std::vector<std::string> posted;
  for (const std::string& document : Documents()) posted.push_back(Said(document));
  return posted;
}

bool AlarmTest::EventQueueIsFree() {
  return platform().mutexes.Held() == 0 && mgr->LockEventList() == 0 && mgr->UnlockEventList() == 0;
}

std::string AlarmTest::Tracked(uint32_t velId, const std::string& messageId) {
  CloudAlarm alarm;
  return mgr->GetActiveAlarmsMgr().GetActiveAlarm(velId, messageId, alarm) != 0
             ? alarm.GetSeverity()
             : "";
}

void AlarmTest::RunPoster(const std::vector<std::function<void()>>& steps) {
  size_t passes = 0;
  const auto inner = platform().sleeps.hook;
  platform().sleeps.hook = [&, inner](uint64_t microseconds) {
    if (microseconds != 5000000) {
      if (inner) inner(microseconds);
      return;
    }
    if (passes == steps.size()) throw fakes::Leave();
    steps[passes++]();
  };
  mgr->Start();
  platform().threads.Run(0);
  platform().sleeps.hook = inner;
  EXPECT_EQ(passes, steps.size());
}

void AlarmTest::Notified(uint32_t gddId, uint16_t module, uint16_t state) {
  if (platform().proxy.eventCallback == nullptr) mgr->RegisterForDeviceDataChange(1);
  platform().proxy.Notifies(gddId, module, state);
  platform().proxy.DispatchEvents();
}

}  // namespace cloudclient
