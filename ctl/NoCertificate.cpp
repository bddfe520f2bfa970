// SPDX-License-Identifier: Apache-2.0
// The certificate of a service, in a build without OpenSSL.
#include "ctl/Certificate.h"

namespace ctl {

host::Problem ReadCertificate(int /*connection*/, const ServiceAddress& /*address*/,
                              double /*seconds*/, Certificate& /*certificate*/) {
  return host::Problem("this program was built without OpenSSL, which shows certificates");
}

}  // namespace ctl
