#include "service/redfish/LookUps.h"

#include "service/redfish/Refusal.h"

namespace cloudservice {

std::string LookUps::Schema(const std::string& path, const std::function<std::string()>& find) {
  const auto known = m_schemas.find(path);
  if (known != m_schemas.end()) return known->second;
  if (m_schemas.size() < kMost) return m_schemas.emplace(path, find()).first->second;
  if (m_status == 0) return "";
  const std::string text =
      "The answer has more than " + std::to_string(kMost) + " links to look up.";
  if (m_status == 507) throw Refusal(507, {"InsufficientStorage", {}}, text);
  throw Refusal(m_status, text);
}

const Json& LookUps::Document(const std::string& path, const std::function<Json()>& make) {
  const auto known = m_documents.find(path);
  if (known != m_documents.end()) return known->second;
  return m_documents.emplace(path, make()).first->second;
}

}  // namespace cloudservice
