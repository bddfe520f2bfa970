// SPDX-License-Identifier: Apache-2.0
// What a program writes, as values of points.
#include "host/device/sources/command/Command.h"

#include <algorithm>
#include <utility>

#include "host/device/sources/Settings.h"
#include "host/device/sources/command/ProgramRun.h"
#include "host/util/Numbers.h"
#include "host/util/Trimmed.h"

namespace host {
namespace {

constexpr size_t kMostOutput = 1024 * 1024;

// A line that is a number is one; every other line is a text, but for an empty one.
void TellLine(const std::string& output, size_t point, SourceSink& sink) {
  const std::string line = Trimmed(output.substr(0, output.find('\n')));
  double number = 0;
  if (line.empty()) {
    sink.NoValue(point, Problem("its program writes no first line"));
  } else if (ParseNumber(line, number)) {
    sink.Number(point, number);
  } else {
    sink.Text(point, line);
  }
}

class Program : public SourceConnection {
 public:
  Program(std::vector<std::string> words, const SourceLimits& limits)
      : m_words(std::move(words)), m_limits({limits.timeoutMs, kMostOutput, limits.stopFd}) {}

  void AddPoint(size_t point, const std::string& settings, SettingFaults& faults) override {
    const Settings its(settings);
    OutputPoint output;
    output.point = point;
    if (its.Holds("Pointer")) {
      output.pointer = JsonPointer::Parse(its.Text("Pointer"));
      if (!output.pointer) {
        faults.push_back({"Pointer", "is no JSON pointer"});
        return;
      }
    }
    m_points.push_back(std::move(output));
  }

  Problem Read(SourceSink& sink) override {
    std::string output;
    Problem problem = RunProgram(m_words, m_limits, output);
    if (!problem) problem = TellOutput(output, m_points, sink);
    return problem;
  }

 private:
  const std::vector<std::string> m_words;
  const RunLimits m_limits;
  std::vector<OutputPoint> m_points;
};

}  // namespace

Problem TellOutput(const std::string& output, const std::vector<OutputPoint>& points,
                   SourceSink& sink) {
  JsonRef document;
  const bool asksForDocument =
      std::any_of(points.begin(), points.end(),
                  [](const OutputPoint& point) { return point.pointer.has_value(); });
  if (asksForDocument) {
    document.reset(
        json_loadb(output.data(), output.size(), JSON_ALLOW_NUL | JSON_DECODE_ANY, nullptr));
    if (document == nullptr) return Problem("does not write JSON");
  }
  for (const OutputPoint& point : points) {
    if (point.pointer) {
      TellJson(document.get(), *point.pointer, point.point, sink);
    } else {
      TellLine(output, point.point, sink);
    }
  }
  return {};
}

std::vector<JsonKey> CommandModule::ConnectionKeys() const {
  return {{"Command", JsonKey::Type::kTexts}, TimeoutKey()};
}

std::vector<JsonKey> CommandModule::PointKeys() const {
  return {{"Pointer", JsonKey::Type::kText}};
}

std::unique_ptr<SourceConnection> CommandModule::Open(const std::string& settings,
                                                      const SourceLimits& limits,
                                                      SettingFaults& faults) const {
  const Settings its(settings);
  std::vector<std::string> words = its.Texts("Command");
  if (words.empty()) {
    faults.push_back({"Command", "is missing"});
  } else if (words.front().empty() || words.front().front() != '/') {
    faults.push_back({"Command", "does not begin with an absolute path"});
  }
  if (!faults.empty()) return nullptr;
  return std::make_unique<Program>(std::move(words), limits);
}

}  // namespace host
