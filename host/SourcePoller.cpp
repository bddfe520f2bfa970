#include "host/SourcePoller.h"

#include <cmath>
#include <cstring>

#include "host/Files.h"
#include "host/Log.h"
#include "host/Numbers.h"
#include "platform/util/LocalPath.h"

namespace host {
namespace {

constexpr size_t kLargestSource = 4096;

std::string Trimmed(const std::string& text) {
  constexpr char kBlanks[] = " \t\r\n";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace

bool ReadFileSource(const PointModel& point, std::string& value, std::string& problem) {
  const std::string path = LocalPath(point.source->path);
  std::string text;
  if (int error = ReadFile(path, kLargestSource, text)) {
    problem = path + ": " + std::strerror(error);
    return false;
  }
  double number = 0;
  if (!ParseNumber(Trimmed(text), number) || !std::isfinite(number * point.source->scale)) {
    problem = path + ": holds no number";
    return false;
  }
  value = NumberText(number * point.source->scale, point.decimals);
  return true;
}

void SourcePoller::Want(Wait& wait) {
  for (const PointModel& point : m_engine.Model().points) {
    if (point.source) wait.Until(m_nextMs);
  }
}

void SourcePoller::Serve(const Wait& /*wait*/, int64_t nowMs) {
  if (nowMs < m_nextMs) return;
  m_nextMs = nowMs + int64_t{m_engine.Model().pollSeconds} * 1000;
  Poll();
}

void SourcePoller::Poll() {
  for (const PointModel& point : m_engine.Model().points) {
    if (!point.source) continue;
    std::string value;
    std::string problem;
    const bool told = ReadFileSource(point, value, problem);
    m_engine.SetFromSource(point.id, told ? &value : nullptr);
    std::string& known = m_problems[point.id];
    if (known == problem) continue;
    if (told) {
      HOST_LOG(5, "point %d has a value again", int{point.id});
    } else {
      HOST_LOG(4, "point %d has no value: %s", int{point.id}, problem.c_str());
    }
    known = problem;
  }
}

}  // namespace host
