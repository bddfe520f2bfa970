// SPDX-License-Identifier: Apache-2.0
// Errors of the operators' interface.
#include "service/api/Error.h"

#include "service/api/Views.h"

namespace cloudservice {

namespace {

const char* Code(unsigned status) {
  switch (status) {
    case 401:
      return "unauthorized";
    case 404:
      return "not_found";
    case 405:
      return "method_not_allowed";
    case 413:
    case 431:
      return "too_large";
    case 415:
      return "unsupported_media_type";
    case 429:
      return "too_many_requests";
    case 500:
      return "internal";
    case 503:
      return "unavailable";
    default:
      return "bad_request";
  }
}

}  // namespace

ApiError Unknown(const std::string& what) { return {404, "There is no " + what + "."}; }

Response ApiErrorResponse(unsigned status, const std::string& text) {
  return ApiAnswer(status, {{"error", {{"code", Code(status)}, {"message", text}}}});
}

}  // namespace cloudservice
