// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_SECRET_H_
#define SERVICE_UTIL_SECRET_H_

#include <cstddef>
#include <optional>
#include <string>

namespace cloudservice {

// `bytes` random bytes of the system's generator as lower-case hexadecimal digits, two a byte.
// Throws std::runtime_error when there are none to be had.
std::string RandomHex(std::size_t bytes);

// SHA-256 as 64 lower-case hexadecimal digits. Throws std::runtime_error.
std::string Sha256Hex(const std::string& text);

// A password for people: 100 random bits as four groups of five letters and digits. Throws
// std::runtime_error.
std::string RandomPassword();

// The bytes of a text in base64; none when it is no such text.
std::optional<std::string> DecodeBase64(const std::string& text);

// A slow salted hash of a password or a key, to be stored: "scrypt$LOG2N$R$P$SALT$HASH", the last
// two in hexadecimal digits, another one at each call. Blocks for some tens of milliseconds. Throws
// std::runtime_error.
std::string HashPassword(const std::string& password);

// The same with the cost and the salt of a hash that is there already; none when that is no such
// hash.
std::optional<std::string> HashPasswordLike(const std::string& password, const std::string& hash);

// Whether `hash` was made of `password`; false also for what is no such hash. Blocks as long, and
// tells as little by its time. Throws std::runtime_error.
bool MatchesPassword(const std::string& password, const std::string& hash);

// Whether the texts are equal; how long it takes tells nothing of where they differ.
bool EqualSecrets(const std::string& a, const std::string& b);

}  // namespace cloudservice

#endif  // SERVICE_UTIL_SECRET_H_
