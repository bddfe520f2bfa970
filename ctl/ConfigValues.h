// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_CONFIGVALUES_H_
#define CTL_CONFIGVALUES_H_

#include <string>

#include "host/config/ConfigStore.h"
#include "host/util/Problem.h"

namespace ctl {

// Whether a person may set that value of a key; the problem is a sentence. The empty text, where a
// key may have it, removes a value.
host::Problem CheckValue(const host::ConfigStore::Key& key, const std::string& value);

// What a new name of the appliance would end, in a sentence; empty when it ends nothing.
std::string EndedByName(const std::string& name);

// Reads a secret, one line, from standard input; at a terminal without showing it. False, and a
// message, when there is none.
bool ReadSecret(const std::string& key, std::string& secret);

// The same of a file: its one line. A problem, which names the file, when it holds none.
host::Problem ReadSecretFile(const std::string& file, std::string& secret);

}  // namespace ctl

#endif  // CTL_CONFIGVALUES_H_
