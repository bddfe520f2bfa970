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

void LookUps::Count(std::size_t bytes) {
  m_bytes += bytes;
  if (m_status == 0 || m_bytes <= kMaxAnswer) return;
  throw Refusal(m_status,
                "The answer would have more than " + std::to_string(kMaxAnswer) + " bytes.");
}

const Json& LookUps::Document(const std::string& path, const std::function<Json()>& make) {
  const auto known = m_documents.find(path);
  if (known != m_documents.end()) return known->second;
  return m_documents.emplace(path, make()).first->second;
}

}  // namespace cloudservice
