// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_PRETTY_H_
#define SERVICE_HTTP_PRETTY_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "service/http/Message.h"

namespace cloudservice {

// Bytes of an indented answer. An answer that would be longer is not indented.
constexpr std::size_t kMaxIndented = std::size_t{8} << 20;

// Indents the answer to a request with this target if it is JSON and the target has the option
// "pretty".
void IndentIfAsked(const Target& target, Response& response);

// Indents a compact JSON text: each member and each element stands on a line of its own, two blanks
// deeper than the object or array around it, and the text ends with a line feed. None when the
// result is longer than `most` bytes.
std::optional<std::string> Indented(std::string_view json, std::size_t most = kMaxIndented);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_PRETTY_H_
