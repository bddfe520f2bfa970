#ifndef HOST_UNKNOWNKEYS_H_
#define HOST_UNKNOWNKEYS_H_

#include <string>
#include <vector>

#include "host/Json.h"

namespace host {

// The known text that is most like this one, asked for: ` (is "Url" meant?)`; empty when none is
// like it.
std::string MeantHint(const std::string& text, const std::vector<std::string>& known);

// The keys of an object that are none of `known`, each in quotes, with the known one that it is
// most like where there is one: `"Urll" (is "Url" meant?)`. None for what is no object.
std::vector<std::string> UnknownKeys(const json_t* object, const std::vector<std::string>& known);

// The unknown keys of a device's description and of all objects in it, each with its place.
std::vector<std::string> UnknownDeviceKeys(const json_t* root);

// All of them in one text; empty when there are none.
std::string UnknownKeysText(const std::vector<std::string>& unknown);

}  // namespace host

#endif  // HOST_UNKNOWNKEYS_H_
