// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_CONDITIONS_H_
#define SERVICE_REDFISH_CONDITIONS_H_

#include <optional>
#include <string>

#include "service/http/Message.h"

namespace cloudservice {

// Adds the entity tag to the answer to a GET, and makes the answer a 304 when If-None-Match matches
// the tag. Throws Refusal (412) when If-Match does not match it.
void ApplyConditions(const Request& request, Response& response);

// Checks the conditions of a change against the tag of the resource. Throws Refusal (412) when
// If-Match does not match the tag or If-None-Match matches it.
void CheckConditions(const Request& request, const std::optional<std::string>& tag);

// Throws Refusal: 412 for a version of OData that this service does not have, 415 for a body whose
// Content-Type is not JSON. A body without a Content-Type is taken for JSON.
void CheckNegotiation(const Request& request);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_CONDITIONS_H_
