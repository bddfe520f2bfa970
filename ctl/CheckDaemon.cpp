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

}  // namespace

void CheckDaemon(double seconds, Checkup& checkup) {
  Problem problem;
  const host::JsonRef answer = AskDaemon("messages", seconds, problem);
  if (problem) {
    checkup.Wrong("daemon", problem.Text(), "systemctl start cloudclient");
    return;
  }
  checkup.Good("daemon", "runs");
  const json_t* last = nullptr;
  size_t index = 0;
  const json_t* message = nullptr;
  json_array_foreach(json_object_get(answer.get(), "messages"), index, message) {
    if (json_integer_value(json_object_get(message, "level")) == kLevelOfFailure) last = message;
  }
  if (last == nullptr) {
    checkup.Good("log", "no failure among the newest messages");
    return;
  }
  const std::string text = host::JsonText(json_object_get(last, "unit")) + " " +
                           host::JsonText(json_object_get(last, "text"));
  const auto explanation = MessageTable(kMessagesDocument).Find(text);
  checkup.Notice("log",
                 "the last failure, at " + host::JsonText(json_object_get(last, "time")) + ": " +
                     (explanation ? explanation->happened : text),
                 "cloudclientctl log explain");
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
