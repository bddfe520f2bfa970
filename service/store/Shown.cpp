// SPDX-License-Identifier: Apache-2.0
#include "service/store/Shown.h"

#include <nlohmann/json.hpp>

namespace cloudservice {

namespace {

using Json = nlohmann::json;

std::optional<std::string> TextOf(const Json& object, const char* name) {
  const auto found = object.find(name);
  if (found == object.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

}  // namespace

Shown ShownOf(const std::string& document) {
  const Json object = Json::parse(document, nullptr, false);
  if (!object.is_object()) return {};
  return {TextOf(object, "Name").value_or(""), TextOf(object, "Model"),
          TextOf(object, "SerialNumber"), TextOf(object, "FirmwareVersion")};
}

}  // namespace cloudservice
