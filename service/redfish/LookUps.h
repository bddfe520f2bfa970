// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_LOOKUPS_H_
#define SERVICE_REDFISH_LOOKUPS_H_

#include <cstddef>
#include <functional>
#include <map>
#include <string>

#include "service/json/Json.h"

namespace cloudservice {

// What has been looked up for one request, each path once, and the bytes of its answer. Both are
// limited, so that one request does not delay the others for long. One request, one thread.
class LookUps {
 public:
  // How many links are looked up for one request.
  static constexpr std::size_t kMost = 1000;

  // Refuses a request that exceeds a limit with this status (400 or 507). Without this call,
  // further links count as links to nothing, and bytes and values are not limited.
  void RefuseMore(unsigned status) { m_status = status; }

  // Adds the bytes and the values of a view to those of the answer. Throws Refusal when they exceed
  // kMaxAnswer or kMaxAnswerValues.
  void Count(std::size_t bytes, std::size_t values);

  // The schema of the resource at the path; calls `find` at the first look-up of the path. Throws
  // Refusal when there are too many links.
  std::string Schema(const std::string& path, const std::function<std::string()>& find);
  // The document at the path; calls `make` at the first look-up of the path. Lives as long as this
  // object.
  const Json& Document(const std::string& path, const std::function<Json()>& make);

 private:
  unsigned m_status = 0;
  std::size_t m_bytes = 0;
  std::size_t m_values = 0;
  std::map<std::string, std::string> m_schemas;
  std::map<std::string, Json> m_documents;
};

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_LOOKUPS_H_
