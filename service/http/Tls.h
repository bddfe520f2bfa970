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

// The files "<database>.crt" and "<database>.key". Where one is missing both are made: a key (mode
// 0600) and a certificate signed by it for this machine. `made` says whether that happened. Throws
// std::runtime_error that names the file and the reason.
CertificateFiles OwnCertificate(const std::string& database, bool& made);

// A server's context, TLS 1.2 and up with forward secrecy and authenticated encryption, with that
// certificate. Throws std::runtime_error that names
// the file that is not usable.
boost::asio::ssl::context ServerContext(const CertificateFiles& files);

}  // namespace cloudservice

#endif  // SERVICE_HTTP_TLS_H_
