// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_DEVICE_ALARMTEST_H_
#define TESTS_UNIT_DEVICE_ALARMTEST_H_

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "device/DeviceMgr.h"
#include "fakes/PlatformTest.h"
#include "fakes/Service.h"

namespace cloudclient {

constexpr char kUuid[] = "6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11";
constexpr char kEventsPath[] =
    "/redfish/v1/Managers/6f1c1e1a-6c5b-4d0e-9f6e-0a4b5f0d2a11/Oem/Quorvan:Events";

// The time texts of the fakes' clock at its start, and a minute later.
constexpr char kNow[] = "2026-03-05T13:07:09+0000";
constexpr char kLater[] = "2026-03-05T13:08:09+0000";

// Header lines after a body that are longer than any body of these cases.
constexpr char kLongTrailer[] =
    "X-Checksum: 0123456789012345678901234567890123456789012345678901234567890123456789"
    "0123456789012345678901234567890123456789012345678901234567890123456789012345678901\r\n";

// State codes of the fake device.
enum State : uint16_t { kCleared = 0, kMessage = 1, kWarning = 2, kAlarm = 3, kFault = 4 };

// An open alarm as the service holds it.
struct HeldAlarm {
  uint32_t gddId;
  int module;
  std::string severity;
  std::string message = "Held.";
};

// The device manager, registered (token "token-1"), above a transport that reaches a service which
// accepts every event. The manager is the process's one: each case is a process of its own.
class AlarmTest : public fakes::PlatformTest {
 protected:
  AlarmTest();
  void SetUp() override;

  // An alarm that has its identity, texts and state; stamped now.
  static CloudAlarm Alarm(uint32_t gddId, int instance, const std::string& severity,
                          const std::string& message = "Fan failed");

  // The service's open alarms of a chassis.
  void ServiceHolds(const std::string& chassis, const std::vector<HeldAlarm>& held);
  // How the service answers one of the three queries of a chassis.
  void ServiceLists(const std::string& chassis, const std::string& severity,
                    const std::string& body, long status = 200);
  static std::string ListPath(const std::string& chassis, const std::string& severity);
  // An event document as the service keeps it.
  static std::string EventOf(const HeldAlarm& held);
  // Header lines that follow the body of the answer to the GET of this path.
  void AnswersWithTrailer(const std::string& path, const std::string& trailer);

  // "LEVEL TEXT" of the device manager's messages, up to a level, since the last ForgetLog.
  std::vector<std::string> Log(int level = 7) const;
  static void ForgetLog() { fakes::platform().log.records.clear(); }

  // The documents posted to the event collection, and what they say: "Zarvel.GDD.10 Alarm",
  // "Zarvel.GDD.10 cleared", each followed by " of CHASSIS".
  std::vector<std::string> Documents() const;
  std::vector<std::string> Posted() const;

  // The number of the event queue's mutex.
  int EventMutex() const { return m_eventMutex; }
  bool EventQueueIsFree();

  // What is tracked: severity, or "" without an entry.
  std::string Tracked(uint32_t velId, const std::string& messageId);

  // Starts the manager and runs its poster: each step is called at the start of one pass of 5
  // seconds, which then works; one pass more than there are steps is begun and left.
  void RunPoster(const std::vector<std::function<void()>>& steps);
  // The device tells of an event, and the notification reaches the queue.
  void Notified(uint32_t gddId, uint16_t module, uint16_t state);

  fakes::Service service;
  HttpsClient client;
  DeviceMgr* mgr = nullptr;

 private:
  int m_eventMutex = -1;
  int m_events = 0;
};

}  // namespace cloudclient

#endif  // TESTS_UNIT_DEVICE_ALARMTEST_H_
