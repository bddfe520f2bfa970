// SPDX-License-Identifier: Apache-2.0
#ifndef HTTPS_POLICYOPTIONS_H_
#define HTTPS_POLICYOPTIONS_H_

#include <curl/curl.h>

#include <functional>

namespace cloudclient {

// Sets how the service has to show who it is: not at all, unless the policy asks. Returns the code
// of the first option that libcurl refuses.
CURLcode SetVerification(CURL* handle);

// Sets what else the policy asks of each request; nothing without one. With a deadline a transfer
// ends within a second of `isStop` becoming true, which must live as long as the handle; the
// transfer's thread calls it. Returns as SetVerification.
CURLcode SetPolicyOptions(CURL* handle, const std::function<bool()>& isStop);

}  // namespace cloudclient

#endif  // HTTPS_POLICYOPTIONS_H_
