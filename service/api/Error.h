// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_ERROR_H_
#define SERVICE_API_ERROR_H_

#include <stdexcept>
#include <string>

#include "service/http/Message.h"

namespace cloudservice {

// Thrown by whatever finds that a request of an operator's cannot be served. The text says what and
// where; it goes to the sender and into the log, so it never holds a secret.
class ApiError : public std::runtime_error {
 public:
  ApiError(unsigned status, const std::string& text) : std::runtime_error(text), m_status(status) {}
  unsigned Status() const { return m_status; }

 private:
  unsigned m_status;
};

// 404 for an appliance, or something of it, that is not there.
ApiError Unknown(const std::string& what);

// {"error": {"code": ..., "message": ...}}
Response ApiErrorResponse(unsigned status, const std::string& text);

}  // namespace cloudservice

#endif  // SERVICE_API_ERROR_H_
