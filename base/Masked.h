// SPDX-License-Identifier: Apache-2.0
#ifndef BASE_MASKED_H_
#define BASE_MASKED_H_

#include <string>

namespace cloudclient {

// A text for the log, which every message passes that shows a URL, a header block, a document or a
// token: as it is, unless the policy masks secrets. Then "********" stands for the registration key
// and the token that are configured, for each token that was remembered, and for whatever a header
// line X-Auth-Token holds. Any thread.
std::string Masked(const std::string& text);

// Has a token masked that the configuration no longer holds, or not yet. Nothing unless the policy
// masks secrets. The newest few are kept. Any thread.
void RememberToken(const std::string& token);

}  // namespace cloudclient

#endif  // BASE_MASKED_H_
