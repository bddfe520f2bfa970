// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_PAGE_PAGE_H_
#define SERVICE_PAGE_PAGE_H_

#include <optional>

#include "service/http/Message.h"

namespace cloudservice {

// The answer to a request for the web page (/, /appliances/UUID) or for one of its files
// (/assets/...); none when the request has another target. No token is needed: the page itself
// holds no data, it loads them from /api/v1.
std::optional<Response> AnswerPage(const Request& request);

}  // namespace cloudservice

#endif  // SERVICE_PAGE_PAGE_H_
