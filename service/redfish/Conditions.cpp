// SPDX-License-Identifier: Apache-2.0
// Entity tags and conditional requests.
#include "service/redfish/Conditions.h"

#include <strings.h>

#include "service/redfish/Refusal.h"
#include "service/util/Secret.h"

namespace cloudservice {

namespace {

std::string Trimmed(const std::string& text) {
  const std::size_t from = text.find_first_not_of(" \t");
  if (from == std::string::npos) return "";
  return text.substr(from, text.find_last_not_of(" \t") - from + 1);
}

}  // namespace

std::string EntityTag(const std::string& body) {
  constexpr std::size_t kDigits = 32;
  return "\"" + Sha256Hex(body).substr(0, kDigits) + "\"";
}

bool MeansTag(const std::string& header, const std::optional<std::string>& tag, Comparison how) {
  if (!tag) return false;
  // The header may be split at commas, since no tag of this service has one in it.
  std::size_t from = 0;
  for (;;) {
    const std::size_t comma = header.find(',', from);
    std::string piece = Trimmed(header.substr(from, comma - from));
    if (how == Comparison::kWeak && piece.rfind("W/", 0) == 0) piece.erase(0, 2);
    if (piece == "*" || piece == *tag) return true;
    if (comma == std::string::npos) return false;
    from = comma + 1;
  }
}

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
  const std::string media = Trimmed(type.substr(0, type.find(';')));
  if (!media.empty() && strcasecmp(media.c_str(), "application/json") != 0) {
    throw Refusal(415, {"HeaderInvalid", {"Content-Type"}},
                  "Of the types of bodies only application/json is taken here.");
  }
}

}  // namespace cloudservice
