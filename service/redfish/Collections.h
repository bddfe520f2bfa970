// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_COLLECTIONS_H_
#define SERVICE_REDFISH_COLLECTIONS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "service/json/Json.h"
#include "service/redfish/QueryOptions.h"

namespace cloudservice {

// A page of a collection with `count` members; `next` is the query that leads on, or empty.
Json CollectionPage(const std::string& path, const char* type, const std::string& name,
                    std::size_t count, const std::vector<std::string>& shown,
                    const std::string& next);

// The page of the collection that the query asks for. Throws Refusal (400) when there is none.
Json CollectionView(const std::string& path, const char* type, const std::string& name,
                    const std::vector<std::string>& members, const QueryOptions& query);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_COLLECTIONS_H_
