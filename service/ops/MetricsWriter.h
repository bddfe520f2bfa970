// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_OPS_METRICSWRITER_H_
#define SERVICE_OPS_METRICSWRITER_H_

#include <cstdint>
#include <string>

#include "service/util/Histogram.h"

namespace cloudservice {

// A label with its value: name="value", what the format needs escaped. For values that are not the
// service's own words.
std::string MetricLabel(const char* name, const std::string& value);

// Writes metrics in Prometheus' text format, each with all of its samples one after the other.
class MetricsWriter {
 public:
  // A metric begins: "cloudservice_" stands before its name.
  void Begin(const std::string& name, const char* type, const char* help);
  // A sample of it; `labels` are joined by commas.
  void Sample(const std::string& value, const std::string& labels = "", const char* suffix = "");
  void Single(const std::string& name, const char* type, const char* help, std::int64_t value);
  void Times(const Histogram& histogram, const std::string& labels);
  // The metrics of another writer, which is done.
  void Append(const MetricsWriter& other) { m_text += other.m_text; }

  const std::string& Text() const { return m_text; }

 private:
  std::string m_name;
  std::string m_text;
};

}  // namespace cloudservice

#endif  // SERVICE_OPS_METRICSWRITER_H_
