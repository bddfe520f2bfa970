// SPDX-License-Identifier: Apache-2.0
// Random numbers, hashes of passwords, comparing secrets.
#include "service/util/Secret.h"

#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <sstream>
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

std::vector<unsigned char> RandomBytes(std::size_t count) {
  std::vector<unsigned char> buffer(count);
  if (RAND_bytes(buffer.data(), static_cast<int>(count)) != 1) {
    throw std::runtime_error("the system gives no random bytes");
  }
  return buffer;
}

// The cost of the hash, which makes it slow: it fills 2^15 * 8 * 128 bytes = 32 MiB of memory once.
struct Cost {
  unsigned log2N = 15;
  unsigned r = 8;
  unsigned p = 1;
};

constexpr std::size_t kSaltBytes = 16;
constexpr std::size_t kHashBytes = 32;
constexpr std::uint64_t kMaxMemory = 256 * 1024 * 1024;
constexpr unsigned kMaxLog2N = 20;

std::string Scrypt(const std::string& password, const std::string& salt, const Cost& cost) {
  std::array<unsigned char, kHashBytes> hash;
  if (EVP_PBE_scrypt(password.data(), password.size(),
                     reinterpret_cast<const unsigned char*>(salt.data()), salt.size(),
                     std::uint64_t{1} << cost.log2N, cost.r, cost.p, kMaxMemory, hash.data(),
                     hash.size()) != 1) {
    throw std::runtime_error("scrypt is not available");
  }
  return Hex(hash.data(), hash.size());
}

struct StoredHash {
  Cost cost;
  std::string salt;
  std::string hash;
};

std::optional<StoredHash> ParseHash(const std::string& text) {
  constexpr unsigned kMaxFactor = 64;
  std::istringstream in(text);
  std::array<std::string, 6> parts;
  for (std::string& part : parts) {
    if (!std::getline(in, part, '$')) return std::nullopt;
  }
  StoredHash stored;
  const auto number = [](const std::string& digits, unsigned most, unsigned& value) {
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value);
    return error == std::errc() && stop == end && value > 0 && value <= most;
  };
  if (parts[0] != "scrypt" || !number(parts[1], kMaxLog2N, stored.cost.log2N) ||
      !number(parts[2], kMaxFactor, stored.cost.r) ||
      !number(parts[3], kMaxFactor, stored.cost.p)) {
    return std::nullopt;
  }
  stored.salt = parts[4];
  stored.hash = parts[5];
  return stored;
}

std::string Written(const StoredHash& stored) {
  const Cost& cost = stored.cost;
  return "scrypt$" + std::to_string(cost.log2N) + "$" + std::to_string(cost.r) + "$" +
         std::to_string(cost.p) + "$" + stored.salt + "$" + stored.hash;
}

}  // namespace

std::string RandomHex(std::size_t bytes) {
  const std::vector<unsigned char> buffer = RandomBytes(bytes);
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

std::string RandomPassword() {
  // 32 characters, so that each stands for five bits.
  static const char kLetters[] = "abcdefghijkmnpqrstuvwxyz23456789";
  constexpr std::size_t kGroups = 4;
  constexpr std::size_t kGroupLetters = 5;
  std::string password;
  for (const unsigned char byte : RandomBytes(kGroups * kGroupLetters)) {
    if (password.size() % (kGroupLetters + 1) == kGroupLetters) password += '-';
    password += kLetters[byte % 32];
  }
  return password;
}

std::optional<std::string> DecodeBase64(const std::string& text) {
  if (text.empty() || text.size() % 4 != 0) return std::nullopt;
  // OpenSSL accepts blanks at both ends and decodes padding as zero bytes.
  const std::size_t padding = text.size() - 1 - text.find_last_not_of('=');
  const std::size_t digits =
      text.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
  if (padding > 2 || (digits != std::string::npos && digits != text.size() - padding)) {
    return std::nullopt;
  }
  std::vector<unsigned char> bytes(text.size() / 4 * 3);
  const int size =
      EVP_DecodeBlock(bytes.data(), reinterpret_cast<const unsigned char*>(text.data()),
                      static_cast<int>(text.size()));
  if (size < 0) return std::nullopt;
  return std::string(bytes.begin(), bytes.end() - static_cast<std::ptrdiff_t>(padding));
}

std::string HashPassword(const std::string& password) {
  const Cost cost;
  const std::string salt = RandomHex(kSaltBytes);
  return Written({cost, salt, Scrypt(password, salt, cost)});
}

std::string NobodysHash() {
  return Written({Cost(), std::string(2 * kSaltBytes, '0'), std::string(2 * kHashBytes, '0')});
}

std::optional<std::string> HashPasswordLike(const std::string& password, const std::string& hash) {
  const std::optional<StoredHash> like = ParseHash(hash);
  if (!like) return std::nullopt;
  return Written({like->cost, like->salt, Scrypt(password, like->salt, like->cost)});
}

bool MatchesPassword(const std::string& password, const std::string& hash) {
  const std::optional<std::string> same = HashPasswordLike(password, hash);
  return same && EqualSecrets(*same, hash);
}

bool EqualSecrets(const std::string& a, const std::string& b) {
  const std::string left = Sha256Hex(a);
  const std::string right = Sha256Hex(b);
  return CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace cloudservice
