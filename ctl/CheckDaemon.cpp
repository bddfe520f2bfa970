// SPDX-License-Identifier: Apache-2.0
// What doctor hears of the daemon.
#include "ctl/CheckDaemon.h"

#include "ctl/DeviceSocket.h"
#include "ctl/MessageTable.h"
#include "ctl/Output.h"

namespace ctl {

using host::Problem;

namespace {

constexpr json_int_t kLevelOfFailure = 3;

host::JsonRef AskDaemon(const char* op, double seconds, Problem& problem) {
  const host::JsonRef request(json_pack("{s:s}", "op", op));
  host::JsonRef answer;
  problem = RequestFromDaemon(request.get(), seconds, answer);
  return answer;
}

std::string WhatHappened(const json_t* message) {
  const std::string text = host::JsonText(json_object_get(message, "unit")) + " " +
                           host::JsonText(json_object_get(message, "text"));
  const auto explanation = MessageTable(kMessagesDocument).Find(text);
  return host::JsonText(json_object_get(message, "time")) + ": " +
         (explanation ? explanation->happened : text);
}

bool IsOfFullQueue(const json_t* message) {
  const std::string text = host::JsonText(json_object_get(message, "text"));
  return text.find(": queue full, ") != std::string::npos;
}

}  // namespace

void CheckDaemon(double seconds, Checkup& checkup) {
  Problem problem;
  const host::JsonRef answer = AskDaemon("messages", seconds, problem);
  if (problem) {
    checkup.Wrong("daemon", problem.Text(), "systemctl start cloudclient");
    return;
  }
  checkup.Good("daemon", "runs");
  const json_t* failure = nullptr;
  const json_t* dropped = nullptr;
  size_t index = 0;
  const json_t* message = nullptr;
  json_array_foreach(json_object_get(answer.get(), "messages"), index, message) {
    if (json_integer_value(json_object_get(message, "level")) == kLevelOfFailure) failure = message;
    if (IsOfFullQueue(message)) dropped = message;
  }
  if (dropped == nullptr) {
    checkup.Good("queues", "nothing was dropped, by the newest messages");
  } else {
    checkup.Notice("queues", "at " + WhatHappened(dropped),
                   "see why requests take so long, or whether the device changes without end");
  }
  if (failure == nullptr) {
    checkup.Good("log", "no failure among the newest messages");
  } else {
    checkup.Notice("log", "the last failure, at " + WhatHappened(failure),
                   "cloudclientctl log explain");
  }
}

void CheckSources(double seconds, Checkup& checkup) {
  Problem problem;
  const host::JsonRef answer = AskDaemon("list", seconds, problem);
  if (problem) {
    checkup.Skipped("sources", "the daemon does not answer");
    return;
  }
  size_t count = 0;
  size_t index = 0;
  const json_t* point = nullptr;
  json_array_foreach(json_object_get(answer.get(), "points"), index, point) {
    if (json_object_get(point, "source") == nullptr) continue;
    ++count;
    if (!host::JsonText(json_object_get(point, "value")).empty()) continue;
    checkup.Wrong("sources",
                  "point " + Cell(point, "id") + " has no value from " + Cell(point, "source"),
                  "see the daemon's log");
  }
  if (!checkup.IsWrong("sources")) {
    checkup.Good("sources", std::to_string(count) + (count == 1 ? " has" : " have") + " a value");
  }
}

}  // namespace ctl
