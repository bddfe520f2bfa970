#ifndef SERVICE_REDFISH_REFUSAL_H_
#define SERVICE_REDFISH_REFUSAL_H_

#include <stdexcept>
#include <string>

#include "service/http/Message.h"

namespace cloudservice {

// Thrown by whatever finds that a request cannot be served. The text says what and where; it goes
// to the sender and into the log, so it never holds a secret.
class Refusal : public std::runtime_error {
 public:
  Refusal(unsigned status, const std::string& text) : std::runtime_error(text), m_status(status) {}
  unsigned Status() const { return m_status; }

 private:
  unsigned m_status;
};

// The answer to a refused request: a Redfish error object, and WWW-Authenticate for 401.
Response ErrorResponse(unsigned status, const std::string& text);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_REFUSAL_H_
