// SPDX-License-Identifier: Apache-2.0
// watch
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <map>
#include <memory>
#include <utility>

#include <CLI/CLI.hpp>

#include "ctl/Commands.h"
#include "ctl/DeviceSocket.h"
#include "ctl/Dial.h"
#include "ctl/Output.h"

namespace ctl {

using host::Problem;

namespace {

const char kWatchExamples[] = R"(Examples:
  cloudclientctl watch
  cloudclientctl watch --for 60 --json)";

struct WatchArguments {
  double interval = 1;  // seconds between two looks
  double length = 0;    // seconds until it ends; 0 is never
};

// A watch of the daemon: what changed since the last look, a line each.
class Watch {
 public:
  explicit Watch(const Choice& choice) : m_choice(choice) {}

  // What is there before anything changes.
  Problem Begin();
  // Prints what has changed since.
  Problem Look();

 private:
  Problem Ask(const json_t* request, host::JsonRef& answer) const;
  Problem LookAtDevice(bool print);
  Problem LookAtRequests(bool print);
  void Print(const char* what, const std::string& text, host::JsonRef object) const;
  void PrintPoint(const json_t* point, const std::string& before) const;
  void PrintEvent(const json_t* event, const std::string& before) const;
  void PrintRequest(const json_t* request) const;

  const Choice& m_choice;
  std::map<json_int_t, std::string> m_values;                         // by the point's number
  std::map<std::pair<json_int_t, json_int_t>, std::string> m_states;  // by event and module
  json_int_t m_request = 0;                                           // the newest one seen
};

std::string TimeOfDay() {
  char text[16];
  const time_t now = time(nullptr);
  struct tm fields = {};
  localtime_r(&now, &fields);
  strftime(text, sizeof text, "%H:%M:%S", &fields);
  return text;
}

std::string OrNone(const std::string& value) { return value.empty() ? "none" : value; }

json_int_t NumberOf(const json_t* object, const char* key) {
  return json_integer_value(json_object_get(object, key));
}

Problem Watch::Ask(const json_t* request, host::JsonRef& answer) const {
  return RequestFromDaemon(request, m_choice.timeout, answer);
}

// For a person a line; for a script an object of "what" and of what is known, in a line as well.
void Watch::Print(const char* what, const std::string& text, host::JsonRef object) const {
  constexpr size_t kWidth = sizeof "request  " - 1;
  if (m_choice.json) {
    host::PutJson(object.get(), "what", host::JsonString(what));
    PrintLine(host::DumpedJson(object.get(), JSON_COMPACT));
  } else {
    std::string name = what;
    name.resize(kWidth, ' ');
    PrintLine(TimeOfDay() + "  " + name + text);
  }
  std::fflush(stdout);
}

void Watch::PrintPoint(const json_t* point, const std::string& before) const {
  const std::string unit = Cell(point, "unit");
  Print("point",
        Cell(point, "id") + " " + Cell(point, "name") + "  " + Printable(OrNone(before)) + " -> " +
            OrNone(Cell(point, "value")) + (unit.empty() ? "" : " " + unit),
        host::JsonRef(json_deep_copy(point)));
}

void Watch::PrintEvent(const json_t* event, const std::string& before) const {
  Print("event",
        Cell(event, "gdd") + " module " + Cell(event, "module") + "  " + Printable(before) +
            " -> " + Cell(event, "state") + "  " + Cell(event, "text"),
        host::JsonRef(json_deep_copy(event)));
}

void Watch::PrintRequest(const json_t* request) const {
  const std::string problem = Cell(request, "problem");
  Print("request",
        Cell(request, "method") + " " + Cell(request, "url") + "  " +
            (problem.empty() ? Cell(request, "status") : problem) + "  " +
            Cell(request, "milliseconds") + " ms",
        host::JsonRef(json_deep_copy(request)));
}

Problem Watch::LookAtDevice(bool print) {
  const host::JsonRef request(json_pack("{s:s}", "op", "list"));
  host::JsonRef answer;
  if (Problem problem = Ask(request.get(), answer)) return problem;
  size_t index = 0;
  const json_t* point = nullptr;
  json_array_foreach(json_object_get(answer.get(), "points"), index, point) {
    const std::string value = host::JsonText(json_object_get(point, "value"));
    const auto known = m_values.emplace(NumberOf(point, "id"), value);
    const std::string before = std::exchange(known.first->second, value);
    if (print && before != value) PrintPoint(point, before);
  }
  const json_t* event = nullptr;
  json_array_foreach(json_object_get(answer.get(), "events"), index, event) {
    const std::string state = host::JsonText(json_object_get(event, "state"));
    const auto known =
        m_states.emplace(std::pair(NumberOf(event, "gdd"), NumberOf(event, "module")), state);
    const std::string before = std::exchange(known.first->second, state);
    if (print && before != state) PrintEvent(event, before);
  }
  return {};
}

Problem Watch::LookAtRequests(bool print) {
  const host::JsonRef request(json_pack("{s:s,s:I}", "op", "requests", "since", m_request));
  host::JsonRef answer;
  if (Problem problem = Ask(request.get(), answer)) return problem;
  const json_int_t newest = NumberOf(answer.get(), "newest");
  // A daemon that was started meanwhile counts anew.
  if (newest < m_request) m_request = 0;
  size_t index = 0;
  const json_t* seen = nullptr;
  json_array_foreach(json_object_get(answer.get(), "requests"), index, seen) {
    if (!print) continue;
    const json_int_t missing = NumberOf(seen, "number") - m_request - 1;
    if (missing > 0 && m_request != 0) PrintError(std::to_string(missing) + " requests not seen");
    m_request = NumberOf(seen, "number");
    PrintRequest(seen);
  }
  m_request = newest;
  return {};
}

Problem Watch::Begin() {
  if (Problem problem = LookAtDevice(false)) return problem;
  host::JsonRef object(json_pack("{s:I,s:I}", "points", static_cast<json_int_t>(m_values.size()),
                                 "events", static_cast<json_int_t>(m_states.size())));
  Print("watch",
        std::to_string(m_values.size()) + " points, " + std::to_string(m_states.size()) +
            " events; what changes from now on",
        std::move(object));
  return LookAtRequests(false);
}

Problem Watch::Look() {
  if (Problem problem = LookAtDevice(true)) return problem;
  return LookAtRequests(true);
}

int RunWatch(const Choice& choice, const WatchArguments& arguments) {
  constexpr double kMicrosecondsOfSecond = 1e6;
  const SteadyClock::time_point end = After(arguments.length);
  Watch watch(choice);
  Problem problem = watch.Begin();
  while (!problem && (arguments.length == 0 || SteadyClock::now() < end)) {
    usleep(static_cast<useconds_t>(arguments.interval * kMicrosecondsOfSecond));
    problem = watch.Look();
  }
  if (!problem) return kDone;
  PrintError(problem.Text());
  return IsDaemonMissing(problem) ? kNotRunning : kFailed;
}

}  // namespace

void AddWatchCommand(CLI::App& app, Choice& choice) {
  constexpr double kLeastInterval = 0.05;
  constexpr double kMostInterval = 10;
  constexpr double kMostLength = 86400;
  const auto arguments = std::make_shared<WatchArguments>();
  CLI::App* const watch = app.add_subcommand(
      "watch", "Show points, events and the daemon's requests as they change and come");
  watch->add_option("--interval", arguments->interval, "Seconds between two looks")
      ->capture_default_str()
      ->check(CLI::Range(kLeastInterval, kMostInterval));
  watch->add_option("--for", arguments->length, "Seconds until it ends; 0 is never")
      ->capture_default_str()
      ->check(CLI::Range(0.0, kMostLength));
  watch->footer(kWatchExamples);
  watch->callback([&choice, arguments] {
    choice.run = [&choice, arguments] { return RunWatch(choice, *arguments); };
  });
}

}  // namespace ctl
