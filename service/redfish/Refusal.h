// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_REDFISH_REFUSAL_H_
#define SERVICE_REDFISH_REFUSAL_H_

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "service/http/Message.h"

namespace cloudservice {

// The registry from which refusals take their messages: its version, and its published address.
constexpr const char* kBaseRegistry = "Base.1.16";
constexpr const char* kBaseRegistryUri = "http://redfish.dmtf.org/registries/Base.1.16.0.json";

// A message of that registry with its arguments, in the number and order that the registry defines.
struct BaseMessage {
  std::string name;
  std::vector<std::string> arguments;
  std::string property = {};  // a JSON pointer to the member that it is about; may be empty
};

// The exception for a request that cannot be served. Its text says what is wrong and where. The
// text goes to the sender and into the log, and therefore never holds a secret.
class Refusal : public std::runtime_error {
 public:
  // A refusal with the message of the registry that fits the status best.
  Refusal(unsigned status, const std::string& text);
  Refusal(unsigned status, BaseMessage message, const std::string& text)
      : std::runtime_error(text), m_status(status), m_message(std::move(message)) {}

  // 429: the same request may be taken after so many seconds.
  Refusal(const std::string& text, std::int64_t retryAfter) : Refusal(429, text) {
    m_retryAfter = retryAfter;
  }

  // Seconds after which the same request may succeed; 0: waiting does not help.
  std::int64_t RetryAfter() const { return m_retryAfter; }
  unsigned Status() const { return m_status; }
  const BaseMessage& Message() const { return m_message; }

 private:
  unsigned m_status;
  BaseMessage m_message;
  std::int64_t m_retryAfter = 0;
};

// A refusal with status 404 for a path at which there is nothing for this sender.
Refusal NothingAt(const std::string& path);

// The answer to a refused request: a Redfish error object, WWW-Authenticate for 401, and
// Retry-After where waiting may help.
Response ErrorResponse(const Refusal& refusal);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_REFUSAL_H_
