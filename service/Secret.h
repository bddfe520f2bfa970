#ifndef SERVICE_SECRET_H_
#define SERVICE_SECRET_H_

#include <cstddef>
#include <string>

namespace cloudservice {

// `bytes` random bytes of the system's generator as lower-case hexadecimal digits, two a byte.
// Throws std::runtime_error when there are none to be had.
std::string RandomHex(std::size_t bytes);

// SHA-256 as 64 lower-case hexadecimal digits. Throws std::runtime_error.
std::string Sha256Hex(const std::string& text);

// Whether the texts are equal; how long it takes tells nothing of where they differ.
bool EqualSecrets(const std::string& a, const std::string& b);

}  // namespace cloudservice

#endif  // SERVICE_SECRET_H_
