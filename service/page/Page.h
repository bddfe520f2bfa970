// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_PAGE_PAGE_H_
#define SERVICE_PAGE_PAGE_H_

#include <optional>

#include "service/http/Message.h"

namespace cloudservice {

// The answer to a request for the page (/, /appliances/UUID) or a file of it (/assets/...); nothing
// when the target is another. Asks for no token: the page holds no data, it gets them from /api/v1.
std::optional<Response> AnswerPage(const Request& request);

}  // namespace cloudservice

#endif  // SERVICE_PAGE_PAGE_H_
