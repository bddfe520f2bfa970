// SPDX-License-Identifier: Apache-2.0
#ifndef TESTS_UNIT_SERVICE_PAYLOADCHECK_H_
#define TESTS_UNIT_SERVICE_PAYLOADCHECK_H_

#include <string>
#include <vector>

#include "service/json/Json.h"

namespace cloudservice {

// What is wrong with an answered document, going by the table of types; one text a fault. Looks
// at names, types, enumerations, formats, and unless it is `partial` at what is required.
std::vector<std::string> FaultsOf(const Json& document, bool partial = false);

// Every "@odata.id" in it that leads to another resource.
std::vector<std::string> LinksOf(const Json& document);

}  // namespace cloudservice

#endif  // TESTS_UNIT_SERVICE_PAYLOADCHECK_H_
