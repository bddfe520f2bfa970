// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_FINDINGS_H_
#define CTL_FINDINGS_H_

#include <string>
#include <vector>

namespace ctl {

// What a check found, a sentence each.
typedef std::vector<std::string> Findings;

// Adds a finding when an object of a JSON file holds a key twice.
void FindKeysWrittenTwice(const std::string& path, Findings& findings);

// Prints what was found in a file, which is named as the caller named it; as JSON for scripts.
// Returns the exit status.
int PrintFindings(bool json, const std::string& file, const Findings& findings);

}  // namespace ctl

#endif  // CTL_FINDINGS_H_
