// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_LOOKUPS_H_
#define SERVICE_REDFISH_LOOKUPS_H_

#include <cstddef>
#include <functional>
#include <map>
#include <string>

#include "service/json/Json.h"

namespace cloudservice {

// What has been looked up for one request, each path once, and what was made for its answer: not
// more than one sender may hold up the others for.
class LookUps {
 public:
  // Links that are looked up for one request.
  static constexpr std::size_t kMost = 1000;

  // A request that needs more is refused with this status (400, 507); without it the other links
  // lead nowhere.
  void RefuseMore(unsigned status) { m_status = status; }

  // Counts the bytes of a view, of which there are up to kMaxAnswer in one answer. Throws Refusal.
  void Count(std::size_t bytes);

  // The schema of what is at the path, as `find` knows it. Throws Refusal.
  std::string Schema(const std::string& path, const std::function<std::string()>& find);
  // The document at the path, as `make` makes it.
  const Json& Document(const std::string& path, const std::function<Json()>& make);

 private:
  unsigned m_status = 0;
  std::size_t m_bytes = 0;
  std::map<std::string, std::string> m_schemas;
  std::map<std::string, Json> m_documents;
};

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_LOOKUPS_H_
