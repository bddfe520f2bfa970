// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_UTIL_SECRET_H_
#define SERVICE_UTIL_SECRET_H_

#include <cstddef>
#include <optional>
#include <string>

namespace cloudservice {

// `bytes` random bytes of the system's generator as lower-case hexadecimal digits, two for each
// byte. Throws std::runtime_error when the generator fails.
std::string RandomHex(std::size_t bytes);

// The SHA-256 of the text as 64 lower-case hexadecimal digits. Throws std::runtime_error.
std::string Sha256Hex(const std::string& text);

// A password that a person can type: 100 random bits as four groups of five letters and digits.
// Throws std::runtime_error.
std::string RandomPassword();

// The bytes that a base64 text stands for; none when `text` is not base64.
std::optional<std::string> DecodeBase64(const std::string& text);

// A slow salted hash of a password or a key, to be stored: "scrypt$LOG2N$R$P$SALT$HASH", with SALT
// and HASH in hexadecimal digits. Each call takes a new salt. Blocks for some tens of milliseconds.
// Throws std::runtime_error.
std::string HashPassword(const std::string& password);

// A hash that no password has, to take as long for what does not exist.
std::string NobodysHash();

// The hash of `password` with the cost and the salt of `hash`; none when `hash` does not have the
// form above. Blocks as long as HashPassword(). Throws std::runtime_error.
std::optional<std::string> HashPasswordLike(const std::string& password, const std::string& hash);

// Whether `hash` was made of `password`; false also when `hash` does not have the form above.
// Blocks as long as HashPassword(); the time taken does not tell where hashes differ. Throws
// std::runtime_error.
bool MatchesPassword(const std::string& password, const std::string& hash);

// Whether the texts are equal. The time taken does not tell where they differ.
bool EqualSecrets(const std::string& a, const std::string& b);

}  // namespace cloudservice

#endif  // SERVICE_UTIL_SECRET_H_
