// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include "TempFolder.h"
#include "service/http/Tls.h"

namespace cloudservice {
namespace {

using testing::HasSubstr;

std::string Content(const std::string& file) {
  std::ostringstream text;
  text << std::ifstream(file).rdbuf();
  return text.str();
}

std::string ContextFails(const CertificateFiles& files) {
  try {
    ServerContext(files);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST(TlsTest, Is_made_once_beside_the_database_with_a_private_key) {
  TempFolder folder;
  bool made = false;
  const CertificateFiles files = OwnCertificate(folder.File("s.db"), made);
  EXPECT_TRUE(made);
  EXPECT_EQ(files.certificate, folder.File("s.db.crt"));
  EXPECT_EQ(files.key, folder.File("s.db.key"));
  struct stat status = {};
  ASSERT_EQ(stat(files.key.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  EXPECT_NO_THROW(ServerContext(files));

  const std::string before = Content(files.certificate);
  OwnCertificate(folder.File("s.db"), made);
  EXPECT_FALSE(made);
  EXPECT_EQ(Content(files.certificate), before);
}

TEST(TlsTest, Half_a_pair_is_made_anew) {
  TempFolder folder;
  bool made = false;
  const CertificateFiles files = OwnCertificate(folder.File("s.db"), made);
  std::filesystem::remove(files.certificate);
  OwnCertificate(folder.File("s.db"), made);
  EXPECT_TRUE(made);
  EXPECT_NO_THROW(ServerContext(files));
}

// Whatever a certificate's key is, RSA as well.
TEST(TlsTest, No_cipher_goes_without_forward_secrecy_or_authenticated_encryption) {
  TempFolder folder;
  bool made = false;
  auto context = ServerContext(OwnCertificate(folder.File("s.db"), made));
  const STACK_OF(SSL_CIPHER)* ciphers = SSL_CTX_get_ciphers(context.native_handle());
  ASSERT_GT(sk_SSL_CIPHER_num(ciphers), 4);
  for (int i = 0; i < sk_SSL_CIPHER_num(ciphers); ++i) {
    const SSL_CIPHER* cipher = sk_SSL_CIPHER_value(ciphers, i);
    EXPECT_TRUE(SSL_CIPHER_is_aead(cipher)) << SSL_CIPHER_get_name(cipher);
    // Any: of TLS 1.3, where the key exchange is no part of the cipher.
    EXPECT_THAT(SSL_CIPHER_get_kx_nid(cipher), testing::AnyOf(NID_kx_ecdhe, NID_kx_any))
        << SSL_CIPHER_get_name(cipher);
  }
}

TEST(TlsTest, Key_with_a_password_cannot_be_used_and_nobody_is_asked) {
  TempFolder folder;
  bool made = false;
  const CertificateFiles files = OwnCertificate(folder.File("s.db"), made);
  BIO* const file = BIO_new_file(files.key.c_str(), "r");
  EVP_PKEY* const key = PEM_read_bio_PrivateKey(file, nullptr, nullptr, nullptr);
  BIO_free(file);
  ASSERT_NE(key, nullptr);
  BIO* const locked = BIO_new_file(folder.File("locked.key").c_str(), "w");
  unsigned char password[] = "secret";
  EXPECT_EQ(PEM_write_bio_PrivateKey(locked, key, EVP_aes_128_cbc(), password, 6, nullptr, nullptr),
            1);
  BIO_free(locked);
  EVP_PKEY_free(key);
  EXPECT_THAT(ContextFails({files.certificate, folder.File("locked.key")}),
              HasSubstr("cannot use the key " + folder.File("locked.key")));
}

TEST(TlsTest, Failures_name_the_file) {
  TempFolder folder;
  bool made = false;
  EXPECT_THROW(OwnCertificate(folder.File("none/s.db"), made), std::runtime_error);
  const CertificateFiles files = OwnCertificate(folder.File("s.db"), made);
  EXPECT_THAT(ContextFails({folder.File("none.crt"), files.key}),
              HasSubstr("cannot use the certificate " + folder.File("none.crt")));
  EXPECT_THAT(ContextFails({files.certificate, folder.File("none.key")}),
              HasSubstr("cannot use the key " + folder.File("none.key")));
  const CertificateFiles other = OwnCertificate(folder.File("t.db"), made);
  EXPECT_THAT(ContextFails({files.certificate, other.key}),
              HasSubstr("cannot use the key " + other.key));
}

}  // namespace
}  // namespace cloudservice
