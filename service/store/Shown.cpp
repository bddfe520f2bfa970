// SPDX-License-Identifier: Apache-2.0
// The values of a document that lists show.
#include "service/store/Shown.h"

#include "service/json/Json.h"

namespace cloudservice {

Shown ShownOf(const std::string& document) {
  const Json object = Json::parse(document, nullptr, false);
  if (!object.is_object()) return {};
  return {TextMember(object, "Name").value_or(""), TextMember(object, "Model"),
          TextMember(object, "SerialNumber"), TextMember(object, "FirmwareVersion")};
}

}  // namespace cloudservice
