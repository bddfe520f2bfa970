// SPDX-License-Identifier: Apache-2.0
#ifndef SERVICE_JSON_NUMBERS_H_
#define SERVICE_JSON_NUMBERS_H_

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "service/json/Json.h"

namespace cloudservice {

// Members of one document that have a history; more are not recorded.
constexpr std::int64_t kMaxHistoryMembers = 1000;

// A name of a number that is longer has no history.
constexpr std::size_t kMaxMemberName = 512;  // bytes

// A number in a document, as the text of a JSON number.
struct NumberRecord {
  std::string member;  // where in the document it stands
  std::string value;
};

// The numbers of a document, each with its name, the first kMaxHistoryMembers of them: the names on
// the way to it, with slashes between. An element of an array is named by its MemberId where all
// elements have one, a string, and no two the same; else by its @odata.id under the same condition;
// else by its position from 0:
//   "Temperatures[MemberId=2]/ReadingCelsius", "Humidity[0]".
// "~", "/" and "[" inside a name or an identifier are written "~0", "~1", "~2", so that no two
// numbers of an object have the same name.
std::vector<NumberRecord> NumbersOf(const Json& document);

// A number and where in the document it stands: a JSON pointer.
struct NumberPlace {
  NumberRecord number;
  std::string pointer;
};

// The same numbers with their places.
std::vector<NumberPlace> NumberPlacesOf(const Json& document);

// A step of the way that a number's name tells.
struct NameStep {
  std::string text;             // a member's name; of an element, what tells it apart
  bool element = false;         // of an array
  std::string identifier = {};  // of an element: the member that is `text`; empty for a position
};

// The steps of the name of a number in an object, outermost first.
std::vector<NameStep> StepsOf(const std::string& name);

// Where in a document the numbers stand that have these names, or would stand. The document, which
// outlives it, is looked through once, however many are asked for.
class NumberFinder {
 public:
  struct Found {
    std::string pointer;    // a JSON pointer; "-" in it is an element that is not there
    bool hasPlace = false;  // something holds it, or would
    bool present = false;   // it is there, and a number
  };

  explicit NumberFinder(const Json& document) : m_document(document) {}

  Found Find(const std::vector<NameStep>& steps);

 private:
  // How the elements of an array are named; where they are, unless that is their name.
  struct Elements {
    std::string identifier;
    std::map<std::string, std::size_t> positions;
  };

  std::optional<std::size_t> PositionOf(const Json& array, const NameStep& step);

  const Json& m_document;
  std::map<const Json*, Elements> m_arrays;
};

}  // namespace cloudservice

#endif  // SERVICE_JSON_NUMBERS_H_
