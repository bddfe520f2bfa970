// SPDX-License-Identifier: Apache-2.0
// What a check has found, and how it is printed.
#include "ctl/Findings.h"

#include "ctl/Commands.h"
#include "ctl/Output.h"
#include "host/util/Json.h"

namespace ctl {

void FindKeysWrittenTwice(const std::string& path, Findings& findings) {
  json_error_t error;
  if (!host::JsonRef(json_load_file(path.c_str(), JSON_REJECT_DUPLICATES, &error))) {
    findings.push_back("line " + std::to_string(error.line) + ": " + error.text);
  }
}

int PrintFindings(bool json, const std::string& file, const Findings& findings) {
  // What a loader finds wrong is not always in its result.
  const bool clean = findings.empty() && ErrorCount() == 0;
  if (json) {
    const host::JsonRef list(json_array());
    for (const std::string& finding : findings) {
      json_array_append_new(list.get(), host::JsonString(finding).release());
    }
    PrintJson(list.get());
  } else {
    for (const std::string& finding : findings) PrintLine(file + ": " + Printable(finding));
    if (clean) PrintLine(file + ": nothing found");
  }
  return clean ? kDone : kFailed;
}

}  // namespace ctl
