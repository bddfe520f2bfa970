// SPDX-License-Identifier: Apache-2.0
#ifndef CTL_FINDINGS_H_
#define CTL_FINDINGS_H_

#include <string>
#include <vector>

namespace ctl {

// What a check found, a sentence each.
typedef std::vector<std::string> Findings;

// Adds what it means when an object of a JSON file holds a key twice.
void FindKeysWrittenTwice(const std::string& path, Findings& findings);

// Says what was found in the file, as a person called it: JSON for scripts. The exit status.
int PrintFindings(bool json, const std::string& file, const Findings& findings);

}  // namespace ctl

#endif  // CTL_FINDINGS_H_
