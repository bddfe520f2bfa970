// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_COLLECTIONS_H_
#define SERVICE_REDFISH_COLLECTIONS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "service/json/Json.h"
#include "service/redfish/QueryOptions.h"

namespace cloudservice {

// A page of the collection at `path`: it shows the members with the paths `shown`, out of `count`.
// `next` is the query of the next page; empty when there is none.
Json CollectionPage(const std::string& path, const char* type, const std::string& name,
                    std::size_t count, const std::vector<std::string>& shown,
                    const std::string& next);

// The page that the query asks for, of the collection with the paths `members`. Throws Refusal
// (400) when there is no such page.
Json CollectionView(const std::string& path, const char* type, const std::string& name,
                    const std::vector<std::string>& members, const QueryOptions& query);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_COLLECTIONS_H_
