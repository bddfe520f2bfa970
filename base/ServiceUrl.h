// SPDX-License-Identifier: Apache-2.0
#ifndef BASE_SERVICEURL_H_
#define BASE_SERVICEURL_H_

#include <string>

namespace cloudclient {

// URLs of the service that more than one place builds. Texts are joined as they are: nothing is
// percent-encoded.
// Kept: docs/kept-behaviour.md#raw-urls

// The manager resource of the appliance.
std::string ManagerUrl(const std::string& baseUrl, const std::string& uuid);

// The event collection of the appliance's manager, to which alarm and point events are posted.
std::string EventsUrl(const std::string& baseUrl, const std::string& uuid);

}  // namespace cloudclient

#endif  // BASE_SERVICEURL_H_
