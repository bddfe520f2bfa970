// SPDX-License-Identifier: Apache-2.0
#ifndef DEVICE_CLOUDALARM_H_
#define DEVICE_CLOUDALARM_H_

#include <cstdint>
#include <ctime>
#include <string>

namespace cloudclient {

// Severity of a cleared alarm, by which event documents are chosen. The platform has a text of its
// own for its cleared state (LxVelEventUtil::TYPE_CLEARED_STRING).
// Kept: docs/kept-behaviour.md#two-cleared-words
extern const char kSeverityCleared[];

// One alarm or event of a managed device: a plain value, without a lock.
class CloudAlarm {
 public:
  CloudAlarm();
  CloudAlarm(const CloudAlarm& other) = default;
  CloudAlarm& operator=(const CloudAlarm& other) = default;
  virtual ~CloudAlarm();

  // Number of the device event, and the identifier formed of it: "Zarvel.GDD." and the number,
  // followed by a colon and `instance` unless that is negative.
  void SetEventId(uint32_t eventId, int32_t instance);
  uint32_t GetEventId() const { return m_eventId; }
  const std::string& GetMessageId() const { return m_messageId; }

  // Text of the event's state. Stamps the current local time as the time of clearing when `state`
  // is the platform's cleared text, else as the time of creation.
  void SetState(const std::string& state);
  // Stamps the local time of `when` in its place.
  void SetStateTime(time_t when);
  const std::string& GetSeverity() const { return m_severity; }
  // Whether the event document shows it as active: its severity is not kSeverityCleared.
  bool IsActive() const { return m_severity != kSeverityCleared; }
  const std::string& GetClearedTime() const { return m_clearedTime; }

  // Text shown for the event, without a full stop at its end.
  void SetMessage(const std::string& message) { m_message = message; }
  const std::string& GetMessage() const { return m_message; }

  // Device instance that the alarm belongs to; the key of its table in the tracker.
  void SetAlarmKey(int32_t alarmKey) { m_alarmKey = alarmKey; }
  int32_t GetAlarmKey() const { return m_alarmKey; }

  // Module of the event; the third message argument of an active one.
  void SetMessageArg(int32_t messageArg) { m_messageArg = messageArg; }
  int32_t GetMessageArg() const { return m_messageArg; }

  // Time text of the moment the alarm became active.
  void SetCreated(const std::string& created) { m_created = created; }
  const std::string& GetCreated() const { return m_created; }

  // Reference of the alarm at the service.
  void SetCloudRef(const std::string& cloudRef) { m_cloudRef = cloudRef; }
  const std::string& GetCloudRef() const { return m_cloudRef; }

 private:
  uint32_t m_eventId = 0;
  std::string m_messageId;
  std::string m_message;
  std::string m_severity;
  int32_t m_alarmKey = -1;
  int32_t m_messageArg = 0;
  std::string m_created;
  std::string m_clearedTime;
  std::string m_cloudRef;
};

}  // namespace cloudclient

#endif  // DEVICE_CLOUDALARM_H_
