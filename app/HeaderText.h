// SPDX-License-Identifier: Apache-2.0
#ifndef APP_HEADERTEXT_H_
#define APP_HEADERTEXT_H_

#include <string>

namespace cloudclient {

// Values of a response's header block, searched as text: the first occurrence of the name anywhere
// in it counts, and a value ends at the first CR.

// Value of "Location:", in exactly this case, without leading blanks and tabs. False, and `value`
// untouched, without one.
bool FindLocation(const std::string& header, std::string& value);

// Value of X-Auth-Token, in any case, without leading blanks and tabs unless it holds nothing
// else. Trailing blanks belong to it. False, and `value` untouched, without one.
bool FindToken(const std::string& header, std::string& value);

}  // namespace cloudclient

#endif  // APP_HEADERTEXT_H_
