// SPDX-License-Identifier: Apache-2.0
// Prometheus' text format.
#include "service/ops/MetricsWriter.h"

#include <chrono>
#include <cstdio>

namespace cloudservice {

namespace {

std::string Seconds(std::chrono::nanoseconds time) {
  char text[32];
  snprintf(text, sizeof text, "%.9f", std::chrono::duration<double>(time).count());
  return text;
}

}  // namespace

std::string MetricLabel(const char* name, const std::string& value) {
  std::string text = std::string(name) + "=\"";
  for (const char c : value) {
    if (c == '\\' || c == '"') text += '\\';
    text += c == '\n' ? "\\n" : std::string(1, c);
  }
  return text + '"';
}

void MetricsWriter::Begin(const std::string& name, const char* type, const char* help) {
  m_name = "cloudservice_" + name;
  m_text += "# HELP " + m_name + " " + help + "\n# TYPE " + m_name + " " + type + "\n";
}

void MetricsWriter::Sample(const std::string& value, const std::string& labels,
                           const char* suffix) {
  m_text += m_name + suffix + (labels.empty() ? "" : "{" + labels + "}") + " " + value + "\n";
}

void MetricsWriter::Single(const std::string& name, const char* type, const char* help,
                           std::int64_t value) {
  Begin(name, type, help);
  Sample(std::to_string(value));
}

void MetricsWriter::Times(const Histogram& histogram, const std::string& labels) {
  const Histogram::Values values = histogram.Now();
  std::uint64_t count = 0;
  for (std::size_t i = 0; i < values.counts.size(); ++i) {
    count += values.counts.at(i);
    char bound[32] = "+Inf";
    if (i < Histogram::kBounds.size()) {
      const std::chrono::duration<double> seconds = Histogram::kBounds.at(i);
      snprintf(bound, sizeof bound, "%g", seconds.count());
    }
    Sample(std::to_string(count), labels + ",le=\"" + bound + "\"", "_bucket");
  }
  Sample(Seconds(values.sum), labels, "_sum");
  Sample(std::to_string(count), labels, "_count");
}

}  // namespace cloudservice
