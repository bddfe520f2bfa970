// SPDX-License-Identifier: Apache-2.0
#include "service/store/Rules.h"

#include "service/util/Text.h"

namespace cloudservice {

Severity SeverityOf(const std::string& word) {
  const std::string lower = Lower(word);
  if (lower == "fault" || lower == "critical") return Severity::kFault;
  return lower == "warning" ? Severity::kWarning : Severity::kAlarm;
}

}  // namespace cloudservice
