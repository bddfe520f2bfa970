// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_CERTIFICATE_H_
#define CTL_CERTIFICATE_H_

#include <string>
#include <vector>

#include "ctl/Dial.h"
#include "host/util/Problem.h"

namespace ctl {

// What a service shows of itself by TLS.
struct Certificate {
  std::string subject;
  std::string issuer;
  std::vector<std::string> names;  // "DNS:cloud.example.org", "IP:192.0.2.7"
  std::string notBefore;           // in UTC: "2026-03-05T13:07:09Z"
  std::string notAfter;
  std::string fingerprint;   // SHA-256 of the certificate: "0A:1B:..."
  std::string pin;           // SHA-256 of its public key, as the policy names it: "sha256//..."
  std::string storeProblem;  // empty, or why the system's store does not vouch for it
  bool isOfHost = false;     // it names the host that was asked for
};

// Asks a service for its certificate: shakes hands by TLS over a connection of Dial's, which has to
// stand within so many seconds, and sends nothing else. Whoever answers is taken; the other side
// has shown by then that the certificate's key is its own. A problem names host and port.
host::Problem ReadCertificate(int connection, const ServiceAddress& address, double seconds,
                              Certificate& certificate);

}  // namespace ctl

#endif  // CTL_CERTIFICATE_H_
