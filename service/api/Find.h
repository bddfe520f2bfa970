// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_FIND_H_
#define SERVICE_API_FIND_H_

#include <string>

#include "service/store/Transaction.h"

namespace cloudservice {

// Throw ApiError (404) when there is none.
ApplianceRecord FindAppliance(Transaction& store, const std::string& uuid);
DocumentRecord FindDocument(Transaction& store, const std::string& uuid, const std::string& uri);

// The address of a document, and the document at an address, whether it is there or not.
std::string UriOf(const DocumentName& name);
DocumentName DocumentAt(const std::string& uri);

}  // namespace cloudservice

#endif  // SERVICE_API_FIND_H_
