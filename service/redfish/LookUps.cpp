// SPDX-License-Identifier: Apache-2.0
// Look-ups of one request, and their limits.
#include "service/redfish/LookUps.h"

#include "service/redfish/Refusal.h"

namespace cloudservice {

std::string LookUps::Schema(const std::string& path, const std::function<std::string()>& find) {
  const auto known = m_schemas.find(path);
  if (known != m_schemas.end()) return known->second;
  if (m_schemas.size() < kMost) return m_schemas.emplace(path, find()).first->second;
  if (m_status == 0) return "";
  throw Refusal(m_status,
                "The answer has more than " + std::to_string(kMost) + " links to look up.");
}

void LookUps::Count(std::size_t bytes, std::size_t values) {
  m_bytes += bytes;
  m_values += values;
  if (m_status == 0) return;
  const auto refuse = [this](std::size_t most, const char* what) {
    throw Refusal(m_status,
                  "The answer would have more than " + std::to_string(most) + " " + what + ".");
  };
  if (m_bytes > kMaxAnswer) refuse(kMaxAnswer, "bytes");
  if (m_values > kMaxAnswerValues) refuse(kMaxAnswerValues, "values");
}

const Json& LookUps::Document(const std::string& path, const std::function<Json()>& make) {
  const auto known = m_documents.find(path);
  if (known != m_documents.end()) return known->second;
  return m_documents.emplace(path, make()).first->second;
}

}  // namespace cloudservice
