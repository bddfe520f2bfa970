// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_SECRETS_H_
#define HOST_UTIL_SECRETS_H_

#include <string>

namespace host {

// What stands for a secret that is not shown.
constexpr char kMask[] = "********";

// Remembers a text that messages for others must not show. The newest 16 are kept: a token that has
// ended is still a secret while a message holds it. Texts of less than 4 bytes are no secrets. Any
// thread.
void KeepSecret(const std::string& text);

// `text` with every secret in it masked. Any thread.
std::string WithoutSecrets(std::string text);

}  // namespace host

#endif  // HOST_UTIL_SECRETS_H_
