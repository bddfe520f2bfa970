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

// The registry of messages in whose words refusals speak: its version, and where it is published.
constexpr const char* kBaseRegistry = "Base.1.16";
constexpr const char* kBaseRegistryUri = "http://redfish.dmtf.org/registries/Base.1.16.0.json";

// A message of that registry with its arguments. Number and order of these are the registry's.
struct BaseMessage {
  std::string name;
  std::vector<std::string> arguments;
  std::string property = {};  // a JSON pointer to what it is about; may be empty
};

// Thrown by whatever finds that a request cannot be served. The text says what and where; it goes
// to the sender and into the log, so it never holds a secret.
class Refusal : public std::runtime_error {
 public:
  // With the message that comes nearest to the status.
  Refusal(unsigned status, const std::string& text);
  Refusal(unsigned status, BaseMessage message, const std::string& text)
      : std::runtime_error(text), m_status(status), m_message(std::move(message)) {}

  // 429: the same request may be taken after so many seconds.
  Refusal(const std::string& text, std::int64_t retryAfter) : Refusal(429, text) {
    m_retryAfter = retryAfter;
  }

  // Seconds; 0: waiting makes no difference.
  std::int64_t RetryAfter() const { return m_retryAfter; }
  unsigned Status() const { return m_status; }
  const BaseMessage& Message() const { return m_message; }

 private:
  unsigned m_status;
  BaseMessage m_message;
  std::int64_t m_retryAfter = 0;
};

// 404 for a path at which there is nothing, at least for this sender.
Refusal NothingAt(const std::string& path);

// The answer to a refused request: a Redfish error object, WWW-Authenticate for 401, and
// Retry-After where it may help.
Response ErrorResponse(const Refusal& refusal);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_REFUSAL_H_
