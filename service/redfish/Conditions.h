// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_CONDITIONS_H_
#define SERVICE_REDFISH_CONDITIONS_H_

#include <optional>
#include <string>

#include "service/http/Message.h"

namespace cloudservice {

// The entity tag of a body, with its quotation marks: the same for the same bytes.
std::string EntityTag(const std::string& body);

// Whether a tag that is marked as weak means the one without the mark (RFC 9110, for If-None-Match)
// or none of this service's (for If-Match).
enum class Comparison { kWeak, kStrong };

// Whether a header that lists entity tags, or says "*", means `tag`; none: there is no resource.
bool MeansTag(const std::string& header, const std::optional<std::string>& tag, Comparison how);

// Gives the answer to a GET its entity tag, and turns it into 304 where If-None-Match knows it.
// Throws Refusal (412) when If-Match wants another one.
void ApplyConditions(const Request& request, Response& response);

// Throws Refusal (412) unless the resource, whose tag is `tag`, is what If-Match and If-None-Match
// of a change expect.
void CheckConditions(const Request& request, const std::optional<std::string>& tag);

// Throws Refusal: 412 for a version of OData that is not spoken here, 415 for a body that is not
// declared to be JSON; one of which nothing is declared is taken for it.
void CheckNegotiation(const Request& request);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_CONDITIONS_H_
