// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_STORE_SHOWN_H_
#define SERVICE_STORE_SHOWN_H_

#include <optional>
#include <string>

namespace cloudservice {

// What a list shows of a manager's document, so that none is parsed for a list.
struct Shown {
  std::string name;  // empty: the document has none
  std::optional<std::string> model;
  std::optional<std::string> serial;
  std::optional<std::string> firmware;
};

// Members of other types than a string count as missing; so does all of what is no JSON object.
Shown ShownOf(const std::string& document);

}  // namespace cloudservice

#endif  // SERVICE_STORE_SHOWN_H_
