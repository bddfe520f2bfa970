// SPDX-License-Identifier: Apache-2.0
// Collections, page by page.
#include "service/redfish/Collections.h"

#include <utility>

#include "service/redfish/Shape.h"

namespace cloudservice {

Json CollectionPage(const std::string& path, const char* type, const std::string& name,
                    std::size_t count, const std::vector<std::string>& shown,
                    const std::string& next) {
  Json members = Json::array();
  for (const std::string& member : shown) members.push_back(Reference(member));
  Json view = {{"@odata.id", path},
               {"@odata.type", std::string("#") + type},
               {"Name", name},
               {"Members", std::move(members)},
               {"Members@odata.count", count}};
  if (!next.empty()) view["Members@odata.nextLink"] = path + "?" + next;
  return view;
}

Json CollectionView(const std::string& path, const char* type, const std::string& name,
                    const std::vector<std::string>& members, const QueryOptions& query) {
  const Page page = PageOf(query, members.size());
  const auto from = members.begin();
  return CollectionPage(path, type, name, members.size(),
                        {from + static_cast<std::ptrdiff_t>(page.first),
                         from + static_cast<std::ptrdiff_t>(page.end)},
                        NextPage(query, page, members.size()));
}

}  // namespace cloudservice
