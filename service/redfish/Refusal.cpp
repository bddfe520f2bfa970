// SPDX-License-Identifier: Apache-2.0
// Refusals with the messages of Redfish's registry.
#include "service/redfish/Refusal.h"

#include "service/json/Json.h"

namespace cloudservice {

namespace {

// The message for a status; each of these takes no arguments.
const char* MessageName(unsigned status) {
  switch (status) {
    case 401:
      return "NoValidSession";
    case 403:
      return "InsufficientPrivilege";
    case 405:
      return "OperationNotAllowed";
    case 412:
      return "PreconditionFailed";
    case 413:
      return "PayloadTooLarge";
    case 500:
      return "InternalError";
    case 507:
      return "InsufficientStorage";
    default:
      return "GeneralError";
  }
}

// The severity of a message, as the registry defines it.
const char* MessageSeverity(const std::string& name) {
  const bool warning = name.rfind("Property", 0) == 0 || name.rfind("Query", 0) == 0 ||
                       name == "UnrecognizedRequestBody";
  return warning ? "Warning" : "Critical";
}

}  // namespace

Refusal::Refusal(unsigned status, const std::string& text)
    : Refusal(status, BaseMessage{MessageName(status), {}, ""}, text) {}

Refusal NothingAt(const std::string& path) {
  return {404, {"ResourceMissingAtURI", {path}, ""}, "There is nothing at " + path + "."};
}

Response ErrorResponse(const Refusal& refusal) {
  const BaseMessage& message = refusal.Message();
  const std::string id = std::string(kBaseRegistry) + "." + message.name;
  Json info = {{"@odata.type", "#Message.v1_1_1.Message"},
               {"MessageId", id},
               {"Message", refusal.what()},
               {"MessageArgs", message.arguments},
               {"MessageSeverity", MessageSeverity(message.name)}};
  if (!message.property.empty()) info["RelatedProperties"] = Json::array({message.property});
  // The message GeneralError says nothing itself: the registry wants the text as its resolution.
  if (message.name == "GeneralError") info["Resolution"] = refusal.what();
  const Json error = {
      {"code", id}, {"message", refusal.what()}, {"@Message.ExtendedInfo", Json::array({info})}};
  Response response;
  response.status = refusal.Status();
  response.body = CompactText({{"error", error}});
  if (refusal.Status() == 401) {
    response.headers.emplace_back("WWW-Authenticate", "X-Auth-Token realm=\"cloudservice\"");
  }
  if (refusal.RetryAfter() > 0) {
    response.SetHeader("Retry-After", std::to_string(refusal.RetryAfter()));
  }
  return response;
}

}  // namespace cloudservice
