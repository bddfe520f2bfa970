// SPDX-License-Identifier: Apache-2.0
#ifndef HOST_UTIL_UNKNOWNKEYS_H_
#define HOST_UTIL_UNKNOWNKEYS_H_

#include <string>
#include <vector>

#include "host/util/Json.h"

namespace host {

// A question after the known text that is most like this one, ` (is "Url" meant?)`; empty when none
// is like it.
std::string MeantHint(const std::string& text, const std::vector<std::string>& known);

// The keys of an object that are none of `known`, each in quotes, with the known one that it is
// most like where there is one: `"Urll" (is "Url" meant?)`. None for what is no object.
std::vector<std::string> UnknownKeys(const json_t* object, const std::vector<std::string>& known);

// All of them in one text; empty when there are none.
std::string UnknownKeysText(const std::vector<std::string>& unknown);

}  // namespace host

#endif  // HOST_UTIL_UNKNOWNKEYS_H_
