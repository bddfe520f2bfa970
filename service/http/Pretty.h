// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_PRETTY_H_
#define SERVICE_HTTP_PRETTY_H_

#include <cstddef>
#include <optional>
#include <string>

#include "service/http/Message.h"

namespace cloudservice {

// An answer that would be longer indented stays as it is.
constexpr std::size_t kMaxIndented = std::size_t{8} << 20;

// Indents the answer to a request with this target if it is JSON and the target has the option
// "pretty".
void IndentIfAsked(const Target& target, Response& response);

// A compact JSON text with each member and each element in a line of its own, two blanks deeper
// than what holds it, and a line feed at its end. Without a value when that is longer than `most`
// bytes.
std::optional<std::string> Indented(const std::string& json, std::size_t most = kMaxIndented);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_PRETTY_H_
