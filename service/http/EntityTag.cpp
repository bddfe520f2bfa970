// SPDX-License-Identifier: Apache-2.0
// Entity tags, by which a sender who has an answer already is told so.
#include "service/http/EntityTag.h"

#include "service/util/Secret.h"
#include "service/util/Text.h"

namespace cloudservice {

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
    std::string piece = WithoutBlanks(header.substr(from, comma - from));
    if (how == Comparison::kWeak && piece.rfind("W/", 0) == 0) piece.erase(0, 2);
    if (piece == "*" || piece == *tag) return true;
    if (comma == std::string::npos) return false;
    from = comma + 1;
  }
}

void AddWeakTag(const Request& request, const std::string& tag, Response& response) {
  response.SetHeader("ETag", "W/" + tag);
  const std::string known = request.Header("If-None-Match");
  if (known.empty() || !MeansTag(known, tag, Comparison::kWeak)) return;
  response.status = 304;
  response.SetContent("");
}

}  // namespace cloudservice
