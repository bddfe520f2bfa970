#ifndef SERVICE_REDFISH_CONDITIONS_H_
#define SERVICE_REDFISH_CONDITIONS_H_

#include <optional>
#include <string>

#include "service/http/Message.h"

namespace cloudservice {

// The entity tag of a body, with its quotation marks: the same for the same bytes.
std::string EntityTag(const std::string& body);

// Whether a header that lists entity tags, or says "*", means `tag`; none: there is no resource.
// Tags that are marked as weak count like the others.
bool MeansTag(const std::string& header, const std::optional<std::string>& tag);

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
