// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SHOWN_H_
#define SERVICE_STORE_SHOWN_H_

#include <optional>
#include <string>

namespace cloudservice {

// The values of a manager's document that lists show. They are stored beside the document, so that
// a list parses no document.
struct Shown {
  std::string name;  // empty: the document has none
  std::optional<std::string> model;
  std::optional<std::string> serial;
  std::optional<std::string> firmware;
};

// Reads the values from a document. A member that is no string counts as missing; in a document
// that is no JSON object all members are missing.
Shown ShownOf(const std::string& document);

}  // namespace cloudservice

#endif  // SERVICE_STORE_SHOWN_H_
