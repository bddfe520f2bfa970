// SPDX-License-Identifier: Apache-2.0
#ifndef BASE_JSONPLACE_H_
#define BASE_JSONPLACE_H_

#include <string>
#include <vector>

namespace cloudclient {

// A place in a text, as a person counts: both from 1, a column for each character.
struct TextPlace {
  size_t line;
  size_t column;
};

// Where a member of a JSON text stands that jansson has read: `path` names it from the outermost
// object on, a member by its name, an element of an array by its number ("0" is the first). The
// place of its key when `ofKey`, else that of its value; that of the innermost value on the way
// when there is no such member. jansson itself tells only where a text stops being JSON.
TextPlace PlaceInJson(const std::string& text, const std::vector<std::string>& path, bool ofKey);

}  // namespace cloudclient

#endif  // BASE_JSONPLACE_H_
