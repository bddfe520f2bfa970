// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_HTTP_TLS_H_
#define SERVICE_HTTP_TLS_H_

#include <memory>
#include <mutex>
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
// authenticated encryption. Throws std::runtime_error that names the file that cannot be used; a
// key with a password cannot. Blocks for the files.
boost::asio::ssl::context ServerContext(const CertificateFiles& files);

// The TLS context of a server's new connections. Any thread may call the operations.
class ServerTls {
 public:
  // Reads the files; throws as ServerContext() does.
  explicit ServerTls(CertificateFiles files);

  const CertificateFiles& Files() const { return m_files; }

  // Reads the files again, for connections that come from now on. Throws as ServerContext() does;
  // what was read before stays in use then.
  void ReadAgain();

  // What a connection that begins now uses. The connection need not keep it.
  std::shared_ptr<boost::asio::ssl::context> Current() const;

 private:
  const CertificateFiles m_files;
  mutable std::mutex m_mutex;  // guards the member below
  std::shared_ptr<boost::asio::ssl::context> m_context;
};

}  // namespace cloudservice

#endif  // SERVICE_HTTP_TLS_H_
