// SPDX-License-Identifier: Apache-2.0
// The certificate of a service, by OpenSSL.
#include "ctl/Certificate.h"

#include <arpa/inet.h>
#include <poll.h>
#include <signal.h>

#include <array>
#include <cstdio>
#include <ctime>
#include <memory>

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace ctl {

using host::Problem;

namespace {

template <auto Free>
struct FreedBy {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};
using Context = std::unique_ptr<SSL_CTX, FreedBy<SSL_CTX_free>>;
using Session = std::unique_ptr<SSL, FreedBy<SSL_free>>;
using PeerCertificate = std::unique_ptr<X509, FreedBy<X509_free>>;
using Memory = std::unique_ptr<BIO, FreedBy<BIO_free>>;
using NameList = std::unique_ptr<GENERAL_NAMES, FreedBy<GENERAL_NAMES_free>>;
using Hash = std::array<unsigned char, 32>;

// A service that ends its side must not end this program: OpenSSL writes as to a file.
class SigPipeIgnored {
 public:
  SigPipeIgnored() {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, &m_before);
  }
  ~SigPipeIgnored() { sigaction(SIGPIPE, &m_before, nullptr); }
  SigPipeIgnored(const SigPipeIgnored&) = delete;
  SigPipeIgnored& operator=(const SigPipeIgnored&) = delete;

 private:
  struct sigaction m_before = {};
};

bool IsAddress(const std::string& host) {
  in6_addr ignored;
  return inet_pton(AF_INET, host.c_str(), &ignored) == 1 ||
         inet_pton(AF_INET6, host.c_str(), &ignored) == 1;
}

std::string NameText(const X509_NAME* name) {
  const Memory memory(BIO_new(BIO_s_mem()));
  // Bytes of UTF-8 as they are; control bytes are for who prints them.
  const unsigned long form = XN_FLAG_RFC2253 & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);
  if (!memory || X509_NAME_print_ex(memory.get(), name, 0, form) < 0) return {};
  char* text = nullptr;
  const long size = BIO_get_mem_data(memory.get(), &text);
  return size > 0 ? std::string(text, static_cast<size_t>(size)) : std::string();
}

std::string TimeText(const ASN1_TIME* time) {
  struct tm parts = {};
  char text[32];
  if (ASN1_TIME_to_tm(time, &parts) != 1) return {};
  return std::string(text, strftime(text, sizeof text, "%FT%TZ", &parts));
}

// One of the names that a certificate is for; empty for what is neither host nor address.
std::string AlternativeName(const GENERAL_NAME& name) {
  int type = 0;
  const auto* const value = static_cast<const ASN1_STRING*>(GENERAL_NAME_get0_value(&name, &type));
  if (type != GEN_DNS && type != GEN_IPADD) return {};
  const unsigned char* const bytes = ASN1_STRING_get0_data(value);
  const auto size = static_cast<size_t>(ASN1_STRING_length(value));
  if (type == GEN_DNS) return "DNS:" + std::string(bytes, bytes + size);
  char text[INET6_ADDRSTRLEN];
  const int family = size == sizeof(in_addr) ? AF_INET : AF_INET6;
  const bool fits = size == sizeof(in_addr) || size == sizeof(in6_addr);
  if (!fits || inet_ntop(family, bytes, text, sizeof text) == nullptr) return {};
  return std::string("IP:") + text;
}

std::vector<std::string> AlternativeNames(const X509* certificate) {
  const NameList names(static_cast<GENERAL_NAMES*>(
      X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
  std::vector<std::string> texts;
  for (int i = 0; names && i < sk_GENERAL_NAME_num(names.get()); ++i) {
    std::string text = AlternativeName(*sk_GENERAL_NAME_value(names.get(), i));
    if (!text.empty()) texts.push_back(std::move(text));
  }
  return texts;
}

std::string Fingerprint(const X509* certificate) {
  Hash hash = {};
  unsigned int size = 0;
  if (X509_digest(certificate, EVP_sha256(), hash.data(), &size) != 1) return {};
  std::string text;
  for (const unsigned char byte : hash) {
    char digits[4];
    snprintf(digits, sizeof digits, "%02X", byte);
    text += (text.empty() ? "" : ":") + std::string(digits);
  }
  return text;
}

// Empty when OpenSSL can't write the key.
std::string PinOf(const X509* certificate) {
  unsigned char* key = nullptr;
  const int size = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(certificate), &key);
  if (size <= 0) return {};
  Hash hash = {};
  const bool hashed =
      EVP_Digest(key, static_cast<size_t>(size), hash.data(), nullptr, EVP_sha256(), nullptr) == 1;
  OPENSSL_free(key);
  unsigned char digits[64];
  const int written = EVP_EncodeBlock(digits, hash.data(), static_cast<int>(hash.size()));
  return hashed ? "sha256//" + std::string(digits, digits + written) : std::string();
}

// Tells the service which of its hosts is meant. Not by OpenSSL's macro for it, which casts as C
// does.
bool NameHost(SSL* session, std::string host) {
  return SSL_ctrl(session, SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name, host.data()) ==
         1;
}

Problem OutOfTls() { return Problem("OpenSSL does not begin"); }

// Why a handshake failed, in words.
Problem HandshakeProblem(int kind, const std::string& where) {
  const unsigned long error = ERR_peek_last_error();
  const int reason = ERR_GET_LIB(error) == ERR_LIB_SSL ? ERR_GET_REASON(error) : 0;
  if (reason == SSL_R_WRONG_VERSION_NUMBER || reason == SSL_R_HTTP_REQUEST) {
    return Problem("no TLS at " + where + ": what listens there speaks something else");
  }
  const bool ended = kind == SSL_ERROR_SYSCALL || kind == SSL_ERROR_ZERO_RETURN ||
                     reason == SSL_R_UNEXPECTED_EOF_WHILE_READING;
  if (ended) return Problem("no TLS at " + where + ": the other side ended the connection");
  const char* const text = ERR_reason_error_string(error);
  return Problem("TLS with " + where + " failed: " + (text == nullptr ? "no reason given" : text));
}

Problem ShakeHands(SSL* session, const std::string& where, double seconds) {
  const SigPipeIgnored ignored;
  const auto end = After(seconds);
  for (;;) {
    ERR_clear_error();
    const int done = SSL_connect(session);
    if (done == 1) return {};
    const int kind = SSL_get_error(session, done);
    if (kind != SSL_ERROR_WANT_READ && kind != SSL_ERROR_WANT_WRITE) {
      return HandshakeProblem(kind, where);
    }
    const short events = kind == SSL_ERROR_WANT_READ ? POLLIN : POLLOUT;
    if (!WaitUntilReady(SSL_get_fd(session), events, end)) {
      return Problem("TLS with " + where + " did not stand within " + SecondsText(seconds));
    }
  }
}

Certificate Described(const X509* shown, long storeResult, const std::string& host) {
  Certificate certificate;
  certificate.subject = NameText(X509_get_subject_name(shown));
  certificate.issuer = NameText(X509_get_issuer_name(shown));
  certificate.names = AlternativeNames(shown);
  certificate.notBefore = TimeText(X509_get0_notBefore(shown));
  certificate.notAfter = TimeText(X509_get0_notAfter(shown));
  certificate.fingerprint = Fingerprint(shown);
  certificate.pin = PinOf(shown);
  if (storeResult != X509_V_OK) {
    certificate.storeProblem = X509_verify_cert_error_string(storeResult);
  }
  // What only asks takes no const.
  auto* const asked = const_cast<X509*>(shown);  // NOLINT(cppcoreguidelines-pro-type-const-cast)
  certificate.isOfHost = IsAddress(host)
                             ? X509_check_ip_asc(asked, host.c_str(), 0) == 1
                             : X509_check_host(asked, host.data(), host.size(), 0, nullptr) == 1;
  return certificate;
}

}  // namespace

Problem ReadCertificate(int connection, const ServiceAddress& address, double seconds,
                        Certificate& certificate) {
  const Context context(SSL_CTX_new(TLS_client_method()));
  if (!context || SSL_CTX_set_default_verify_paths(context.get()) != 1) return OutOfTls();
  const Session session(SSL_new(context.get()));
  if (!session || SSL_set_fd(session.get(), connection) != 1) return OutOfTls();
  if (!IsAddress(address.host) && !NameHost(session.get(), address.host)) return OutOfTls();
  if (Problem problem = ShakeHands(session.get(), address.Text(), seconds)) return problem;
  const PeerCertificate shown(SSL_get1_peer_certificate(session.get()));
  if (!shown) return Problem(address.Text() + " shows no certificate");
  certificate = Described(shown.get(), SSL_get_verify_result(session.get()), address.host);
  if (certificate.pin.empty()) return Problem("the key of " + address.Text() + " cannot be read");
  const SigPipeIgnored ignored;
  SSL_shutdown(session.get());
  return {};
}

}  // namespace ctl
