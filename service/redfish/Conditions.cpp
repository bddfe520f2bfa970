// SPDX-License-Identifier: Apache-2.0
// Entity tags and conditional requests.
#include "service/redfish/Conditions.h"

#include <strings.h>

#include "service/http/EntityTag.h"
#include "service/redfish/Refusal.h"
#include "service/util/Text.h"

namespace cloudservice {

void ApplyConditions(const Request& request, Response& response) {
  const std::string tag = EntityTag(response.body);
  const std::string match = request.Header("If-Match");
  if (!match.empty() && !MeansTag(match, tag, Comparison::kStrong)) {
    throw Refusal(412, "The resource is not what If-Match expects.");
  }
  response.headers.emplace_back("ETag", tag);
  const std::string none = request.Header("If-None-Match");
  if (none.empty() || !MeansTag(none, tag, Comparison::kWeak)) return;
  response.status = 304;
  response.body.clear();
}

void CheckConditions(const Request& request, const std::optional<std::string>& tag) {
  const std::string match = request.Header("If-Match");
  if (!match.empty() && !MeansTag(match, tag, Comparison::kStrong)) {
    throw Refusal(412, "The resource is not what If-Match expects.");
  }
  const std::string none = request.Header("If-None-Match");
  if (!none.empty() && MeansTag(none, tag, Comparison::kWeak)) {
    throw Refusal(412, "The resource is what If-None-Match excludes.");
  }
}

void CheckNegotiation(const Request& request) {
  const std::string version = request.Header("OData-Version");
  if (!version.empty() && version != "4.0") {
    throw Refusal(412, {"HeaderInvalid", {"OData-Version"}},
                  "Of the versions of OData only 4.0 is spoken here.");
  }
  if (request.method != "POST" && request.method != "PATCH") return;
  const std::string type = request.Header("Content-Type");
  const std::string media = WithoutBlanks(type.substr(0, type.find(';')));
  if (!media.empty() && strcasecmp(media.c_str(), "application/json") != 0) {
    throw Refusal(415, {"HeaderInvalid", {"Content-Type"}},
                  "Of the types of bodies only application/json is taken here.");
  }
}

}  // namespace cloudservice
