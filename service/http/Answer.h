// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_ANSWER_H_
#define SERVICE_HTTP_ANSWER_H_

#include <ctime>
#include <string>
#include <string_view>

#include "service/http/Message.h"

namespace cloudservice {

// The header of an answer, with the empty line behind it. `keepAlive`: another request may follow
// on the connection. `now` becomes the Date header. A response without Cache-Control gets
// "no-store".
std::string AnswerHeader(const Response& response, time_t now, bool keepAlive);

// What follows the header: the body, and nothing where the status has none.
std::string_view AnswerBody(const Response& response);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_ANSWER_H_
