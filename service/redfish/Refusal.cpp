#include "service/redfish/Refusal.h"

#include "service/redfish/Document.h"

namespace cloudservice {

namespace {

// The message of the registry that comes nearest.
const char* MessageId(unsigned status) {
  switch (status) {
    case 401:
      return "Base.1.8.NoValidSession";
    case 403:
      return "Base.1.8.InsufficientPrivilege";
    case 404:
      return "Base.1.8.ResourceMissingAtURI";
    case 405:
      return "Base.1.8.OperationNotAllowed";
    case 500:
      return "Base.1.8.InternalError";
    default:
      return "Base.1.8.GeneralError";
  }
}

}  // namespace

Response ErrorResponse(unsigned status, const std::string& text) {
  const Json info = {{"@odata.type", "#Message.v1_1_1.Message"},
                     {"MessageId", MessageId(status)},
                     {"Message", text},
                     {"MessageArgs", Json::array()},
                     {"Severity", status < 500 ? "Warning" : "Critical"}};
  const Json error = {{"code", MessageId(status)},
                      {"message", text},
                      {"@Message.ExtendedInfo", Json::array({info})}};
  Response response;
  response.status = status;
  response.body = PrettyText({{"error", error}});
  if (status == 401) {
    response.headers.emplace_back("WWW-Authenticate", "X-Auth-Token realm=\"cloudservice\"");
  }
  return response;
}

}  // namespace cloudservice
