// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_TLS_H_
#define SERVICE_HTTP_TLS_H_

#include <string>

#include <boost/asio/ssl/context.hpp>

namespace cloudservice {

// PEM files.
struct CertificateFiles {
  std::string certificate;
  std::string key;
};

// Returns the names of the files "<database>.crt" and "<database>.key". If one is missing, makes
// both: a key (mode 0600) and a certificate for this machine, signed by that key. `made` tells
// whether they were made. Throws std::runtime_error that names the file and the reason.
CertificateFiles OwnCertificate(const std::string& database, bool& made);

// The TLS context of a server with this certificate: TLS 1.2 and later, with forward secrecy and
// authenticated encryption. Throws std::runtime_error that names the file that cannot be used.
boost::asio::ssl::context ServerContext(const CertificateFiles& files);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_TLS_H_
