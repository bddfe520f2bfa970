// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_ANSWER_H_
#define SERVICE_HTTP_ANSWER_H_

#include <ctime>
#include <string>

#include "service/http/Message.h"

namespace cloudservice {

// The bytes of an answer. `head` leaves the body out and keeps its length; `keepAlive` says
// whether another request may follow on the connection. What the response does not say about
// caching is "no-store".
std::string AnswerBytes(const Response& response, time_t now, bool keepAlive, bool head);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_ANSWER_H_
