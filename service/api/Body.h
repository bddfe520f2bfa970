// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_BODY_H_
#define SERVICE_API_BODY_H_

#include <string>

#include "service/http/Message.h"
#include "service/json/Json.h"

namespace cloudservice {

// The object that is the request's body. Throws ApiError: 415 where the body is not said to be
// JSON, as one that a form on another site has sent, and 400 where it is no object.
Json BodyOf(const Request& request);

// A text of the body. Throws ApiError (400) that names it when it is missing or no text.
std::string RequiredText(const Json& body, const char* name);

}  // namespace cloudservice

#endif  // SERVICE_API_BODY_H_
