#include "service/Secret.h"

#include <array>
#include <stdexcept>
#include <vector>

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

namespace cloudservice {

namespace {

std::string Hex(const unsigned char* bytes, std::size_t size) {
  static const char kDigits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * size);
  for (std::size_t i = 0; i < size; ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 0x0f];
  }
  return text;
}

}  // namespace

std::string RandomHex(std::size_t bytes) {
  std::vector<unsigned char> buffer(bytes);
  if (RAND_bytes(buffer.data(), static_cast<int>(bytes)) != 1) {
    throw std::runtime_error("the system gives no random bytes");
  }
  return Hex(buffer.data(), buffer.size());
}

std::string Sha256Hex(const std::string& text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest;
  unsigned int size = 0;
  if (EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
    throw std::runtime_error("SHA-256 is not available");
  }
  return Hex(digest.data(), size);
}

bool EqualSecrets(const std::string& a, const std::string& b) {
  const std::string left = Sha256Hex(a);
  const std::string right = Sha256Hex(b);
  return CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace cloudservice
