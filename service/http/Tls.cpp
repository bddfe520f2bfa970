// SPDX-License-Identifier: Apache-2.0
// The service's own certificate, and the versions and ciphers of TLS.
#include "service/http/Tls.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <memory>
#include <stdexcept>
#include <utility>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

namespace cloudservice {

namespace {

constexpr long kDay = 24 * 3600;
constexpr long kValidDays = 3650;
// The ciphers of TLS 1.2 with forward secrecy and authenticated encryption. TLS 1.3 has no others.
constexpr const char* kCiphers = "ECDHE+AESGCM:ECDHE+CHACHA20";

template <auto Free>
struct FreeBy {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};
using Key = std::unique_ptr<EVP_PKEY, FreeBy<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, FreeBy<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, FreeBy<X509_EXTENSION_free>>;
using Memory = std::unique_ptr<BIO, FreeBy<BIO_free>>;

void Check(bool ok) {
  if (!ok) throw std::runtime_error("cannot make a certificate: OpenSSL refuses");
}

void AddExtension(X509* certificate, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
  Check(extension != nullptr);
  Check(X509_add_ext(certificate, extension.get(), -1) == 1);
}

void SetSerial(X509* certificate) {
  std::uint64_t serial = 0;
  Check(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1);
  Check(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate), serial >> 1) == 1);
}

void SetName(X509* certificate) {
  X509_NAME* name = X509_get_subject_name(certificate);
  const auto* text = reinterpret_cast<const unsigned char*>("cloudservice");
  Check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, text, -1, -1, 0) == 1);
  Check(X509_set_issuer_name(certificate, name) == 1);
}

Certificate SelfSigned(EVP_PKEY* key) {
  Certificate certificate(X509_new());
  Check(certificate != nullptr);
  X509* const c = certificate.get();
  Check(X509_set_version(c, X509_VERSION_3) == 1);
  SetSerial(c);
  const time_t now = time(nullptr);
  // Valid from a day ago on, since the clock of an appliance may be slow.
  Check(ASN1_TIME_set(X509_getm_notBefore(c), now - kDay) != nullptr);
  Check(ASN1_TIME_set(X509_getm_notAfter(c), now + kValidDays * kDay) != nullptr);
  Check(X509_set_pubkey(c, key) == 1);
  SetName(c);
  AddExtension(c, NID_basic_constraints, "critical,CA:FALSE");
  AddExtension(c, NID_key_usage, "critical,digitalSignature");
  AddExtension(c, NID_ext_key_usage, "serverAuth");
  AddExtension(c, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1");
  Check(X509_sign(c, key, EVP_sha256()) != 0);
  return certificate;
}

std::string Text(BIO* memory) {
  char* data = nullptr;
  const long size = BIO_get_mem_data(memory, &data);
  return std::string(data, static_cast<std::size_t>(size));
}

[[noreturn]] void FailFile(const std::string& what, const std::string& file) {
  throw std::runtime_error("cannot " + what + " " + file + ": " + std::strerror(errno));
}

bool WriteAll(int fd, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    const ssize_t n = write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return fsync(fd) == 0;
}

// Writes the file as a whole or not at all: a new file beside it is renamed to it.
void WriteFile(const std::string& file, const std::string& text, mode_t mode) {
  const std::string fresh = file + ".new";
  unlink(fresh.c_str());
  const int fd = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
  if (fd < 0) FailFile("write", fresh);
  const bool written = WriteAll(fd, text);
  const int reason = errno;
  close(fd);
  if (!written || rename(fresh.c_str(), file.c_str()) != 0) {
    if (!written) errno = reason;
    const int kept = errno;
    unlink(fresh.c_str());
    errno = kept;
    FailFile("write", file);
  }
}

void MakeCertificate(const CertificateFiles& files) {
  const Key key(EVP_EC_gen("P-256"));  // NOLINT(clang-diagnostic-cast-qual): the macro's own cast
  Check(key != nullptr);
  const Certificate certificate = SelfSigned(key.get());
  const Memory keyText(BIO_new(BIO_s_mem()));
  const Memory certificateText(BIO_new(BIO_s_mem()));
  Check(keyText != nullptr && certificateText != nullptr);
  Check(PEM_write_bio_PrivateKey(keyText.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) ==
        1);
  Check(PEM_write_bio_X509(certificateText.get(), certificate.get()) == 1);
  WriteFile(files.key, Text(keyText.get()), 0600);
  WriteFile(files.certificate, Text(certificateText.get()), 0644);
}

}  // namespace

CertificateFiles OwnCertificate(const std::string& database, bool& made) {
  CertificateFiles files = {database + ".crt", database + ".key"};
  made = access(files.certificate.c_str(), F_OK) != 0 || access(files.key.c_str(), F_OK) != 0;
  if (made) MakeCertificate(files);
  return files;
}

boost::asio::ssl::context ServerContext(const CertificateFiles& files) {
  namespace ssl = boost::asio::ssl;
  ssl::context context(ssl::context::tls_server);
  context.set_options(ssl::context::default_workarounds | ssl::context::no_sslv2 |
                      ssl::context::no_sslv3 | ssl::context::no_tlsv1 | ssl::context::no_tlsv1_1 |
                      ssl::context::single_dh_use);
  if (SSL_CTX_set_cipher_list(context.native_handle(), kCiphers) != 1) {
    throw std::runtime_error("cannot use TLS: OpenSSL has none of " + std::string(kCiphers));
  }
  // Nobody is there to be asked for a password, which OpenSSL would do at the terminal.
  SSL_CTX_set_default_passwd_cb(context.native_handle(), [](char*, int, int, void*) { return -1; });
  boost::system::error_code error;
  context.use_certificate_chain_file(files.certificate, error);
  if (error) {
    throw std::runtime_error("cannot use the certificate " + files.certificate + ": " +
                             error.message());
  }
  context.use_private_key_file(files.key, ssl::context::pem, error);
  if (error) {
    throw std::runtime_error("cannot use the key " + files.key + ": " + error.message());
  }
  return context;
}

ServerTls::ServerTls(CertificateFiles files)
    : m_files(std::move(files)),
      m_context(std::make_shared<boost::asio::ssl::context>(ServerContext(m_files))) {}

void ServerTls::ReadAgain() {
  auto context = std::make_shared<boost::asio::ssl::context>(ServerContext(m_files));
  const std::lock_guard<std::mutex> guard(m_mutex);
  m_context = std::move(context);
}

std::shared_ptr<boost::asio::ssl::context> ServerTls::Current() const {
  const std::lock_guard<std::mutex> guard(m_mutex);
  return m_context;
}

}  // namespace cloudservice
