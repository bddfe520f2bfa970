// SPDX-License-Identifier: Apache-2.0
// What came out, as text and as JSON.
#include "Report.h"

#include <array>
#include <cstddef>
#include <cstdio>

#include <nlohmann/json.hpp>

namespace fleet {

namespace {

using Json = nlohmann::ordered_json;

double CpuMicroseconds(const Result& result, const std::vector<ProcessReport>& processes) {
  double seconds = 0;
  for (const ProcessReport& process : processes) seconds += process.CpuSeconds();
  const auto answered = static_cast<double>(result.Answered());
  return answered > 0 ? seconds * 1e6 / answered : 0;
}

bool IsEmpty(const KindResult& kind) {
  return kind.due + kind.answered + kind.failed + kind.unanswered == 0;
}

Json ViewOf(const KindResult& kind, double seconds) {
  Json statuses = Json::object();
  for (const auto& [status, count] : kind.statuses) statuses[std::to_string(status)] = count;
  return {{"due", kind.due},
          {"answered", kind.answered},
          {"failed", kind.failed},
          {"unanswered", kind.unanswered},
          {"rate", static_cast<double>(kind.answered) / seconds},
          {"mean_us", kind.latency.Mean()},
          {"p50_us", kind.latency.Quantile(0.5)},
          {"p99_us", kind.latency.Quantile(0.99)},
          {"p999_us", kind.latency.Quantile(0.999)},
          {"max_us", kind.latency.Max()},
          {"statuses", statuses}};
}

std::string LineOf(const char* name, const KindResult& kind, double seconds) {
  std::array<char, 256> line = {};
  const auto ms = [&](double part) {
    return static_cast<double>(kind.latency.Quantile(part)) / 1000;
  };
  const int length = std::snprintf(
      line.data(), line.size(),
      "%-14s %9lld answered %10.1f/s   p50 %8.2f  p99 %8.2f  p999 %8.2f  max %8.2f ms   "
      "%lld failed, %lld unanswered\n",
      name, static_cast<long long>(kind.answered), static_cast<double>(kind.answered) / seconds,
      ms(0.5), ms(0.99), ms(0.999), static_cast<double>(kind.latency.Max()) / 1000,
      static_cast<long long>(kind.failed), static_cast<long long>(kind.unanswered));
  return std::string(line.data(), static_cast<std::size_t>(length));
}

std::string LineOf(const ProcessReport& process, double seconds) {
  std::array<char, 256> line = {};
  const int length = std::snprintf(
      line.data(), line.size(),
      "process %d: %.2f s of CPU (%.0f %% of a core), %lld KiB resident, %lld KiB proportional, "
      "%lld processes, %lld threads\n",
      process.pid, process.CpuSeconds(), process.CpuSeconds() / seconds * 100,
      static_cast<long long>(process.after.residentKib),
      static_cast<long long>(process.after.proportionalKib),
      static_cast<long long>(process.after.processes),
      static_cast<long long>(process.after.threads));
  return std::string(line.data(), static_cast<std::size_t>(length));
}

}  // namespace

std::string TextOf(const Result& result, const std::vector<ProcessReport>& processes) {
  std::string text;
  for (std::size_t i = 0; i < result.kinds.size(); ++i) {
    const KindResult& kind = result.kinds.at(i);
    if (!IsEmpty(kind)) text += LineOf(NameOf(static_cast<Kind>(i)), kind, result.seconds);
  }
  for (const ProcessReport& process : processes) text += LineOf(process, result.seconds);
  if (!processes.empty()) {
    std::array<char, 64> line = {};
    std::snprintf(line.data(), line.size(), "CPU a request: %.1f us\n",
                  CpuMicroseconds(result, processes));
    text += line.data();
  }
  for (const std::string& problem : result.problems) text += "wrong: " + problem + "\n";
  return text;
}

std::string JsonOf(const Result& result, const std::vector<ProcessReport>& processes) {
  Json kinds = Json::object();
  for (std::size_t i = 0; i < result.kinds.size(); ++i) {
    const KindResult& kind = result.kinds.at(i);
    if (!IsEmpty(kind)) kinds[NameOf(static_cast<Kind>(i))] = ViewOf(kind, result.seconds);
  }
  Json list = Json::array();
  for (const ProcessReport& process : processes) {
    list.push_back({{"pid", process.pid},
                    {"cpu_s", process.CpuSeconds()},
                    {"resident_kib", process.after.residentKib},
                    {"proportional_kib", process.after.proportionalKib},
                    {"processes", process.after.processes},
                    {"threads", process.after.threads}});
  }
  const Json view = {{"seconds", result.seconds},
                     {"answered", result.Answered()},
                     {"failed", result.Failed()},
                     {"cpu_us", CpuMicroseconds(result, processes)},
                     {"problems", result.problems},
                     {"kinds", kinds},
                     {"processes", list}};
  // An answer that is quoted among the problems may hold any bytes.
  return view.dump(2, ' ', false, Json::error_handler_t::replace);
}

}  // namespace fleet
