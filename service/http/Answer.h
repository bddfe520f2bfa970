// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_ANSWER_H_
#define SERVICE_HTTP_ANSWER_H_

#include <ctime>
#include <string>

#include "service/http/Message.h"

namespace cloudservice {

// The bytes of an answer, header and body. With `head` the body is left out, and the header still
// gives its length. `keepAlive`: another request may follow on the connection. `now` becomes the
// Date header. A response without Cache-Control gets "no-store".
std::string AnswerBytes(const Response& response, time_t now, bool keepAlive, bool head);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_ANSWER_H_
