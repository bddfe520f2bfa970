// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_FIND_H_
#define SERVICE_API_FIND_H_

#include <string>

#include "service/store/Transaction.h"

namespace cloudservice {

// The appliance with this UUID, and the document of such an appliance at this address. They throw
// ApiError (404) when there is none.
ApplianceRecord FindAppliance(Transaction& store, const std::string& uuid);
DocumentRecord FindDocument(Transaction& store, const std::string& uuid, const std::string& uri);

// The address of a document, and the name of the document at an address. The document need not
// exist.
std::string UriOf(const DocumentName& name);
DocumentName DocumentAt(const std::string& uri);

}  // namespace cloudservice

#endif  // SERVICE_API_FIND_H_
