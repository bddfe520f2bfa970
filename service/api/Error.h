// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_API_ERROR_H_
#define SERVICE_API_ERROR_H_

#include <stdexcept>
#include <string>

#include "service/http/Message.h"

namespace cloudservice {

// The exception for an operator's request that cannot be served. Its text says what is wrong and
// where. The text goes to the sender and into the log, and therefore never holds a secret.
class ApiError : public std::runtime_error {
 public:
  ApiError(unsigned status, const std::string& text) : std::runtime_error(text), m_status(status) {}
  unsigned Status() const { return m_status; }

 private:
  unsigned m_status;
};

// An error with status 404: there is no `what`.
ApiError Unknown(const std::string& what);

// The answer to a refused request: {"error": {"code": ..., "message": ...}}
Response ApiErrorResponse(unsigned status, const std::string& text);

}  // namespace cloudservice

#endif  // SERVICE_API_ERROR_H_
