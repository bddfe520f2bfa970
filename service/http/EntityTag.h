// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_ENTITYTAG_H_
#define SERVICE_HTTP_ENTITYTAG_H_

#include <optional>
#include <string>

#include "service/http/Message.h"

namespace cloudservice {

// The entity tag of a body, with its quotation marks. Equal bytes have equal tags.
std::string EntityTag(const std::string& body);

// How a tag that is marked as weak is compared (RFC 9110): kWeak ignores the mark, for
// If-None-Match; kStrong lets it match no tag of this service, for If-Match.
enum class Comparison { kWeak, kStrong };

// Whether a header matches `tag`: it lists the tag, or it has "*". Without a tag there is no
// resource, and nothing matches.
bool MeansTag(const std::string& header, const std::optional<std::string>& tag, Comparison how);

// Adds a tag to the answer to a GET, and makes the answer a 304 when If-None-Match matches it. The
// tag is a weak one: the body may be sent compressed or indented as well.
void AddWeakTag(const Request& request, const std::string& tag, Response& response);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_ENTITYTAG_H_
