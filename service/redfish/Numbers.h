#ifndef SERVICE_REDFISH_NUMBERS_H_
#define SERVICE_REDFISH_NUMBERS_H_

#include <cstddef>
#include <vector>

#include "service/redfish/Document.h"
#include "service/store/Store.h"

namespace cloudservice {

// A name of a number that is longer has no history.
constexpr std::size_t kMaxMemberName = 512;  // bytes

// The numbers of a document, each with its name, the first kMaxHistoryMembers of them: the names on
// the way to it, with slashes between. An element of an array is named by its MemberId where all
// elements have one, a string, and no two the same; else by its @odata.id under the same condition;
// else by its position from 0:
//   "Temperatures[MemberId=2]/ReadingCelsius", "Humidity[0]".
// "~", "/" and "[" inside a name or an identifier are written "~0", "~1", "~2", so that no two
// numbers have the same name.
std::vector<NumberRecord> NumbersOf(const Json& document);

// A number and where in the document it stands: a JSON pointer.
struct NumberPlace {
  NumberRecord number;
  std::string pointer;
};

// The same numbers with their places.
std::vector<NumberPlace> NumberPlacesOf(const Json& document);

}  // namespace cloudservice

#endif  // SERVICE_REDFISH_NUMBERS_H_
