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

// Numbers of one document that have a history; further ones are not recorded.
constexpr std::int64_t kMaxHistoryMembers = 1000;

// A number whose name is longer has no history.
constexpr std::size_t kMaxMemberName = 512;  // bytes

// A number in a document.
struct NumberRecord {
  std::string member;  // its name, as NumbersOf() gives it
  std::string value;   // the text of a JSON number
};

// The first kMaxHistoryMembers numbers of a document, each with its name. The name of a number
// consists of the member names on the path to it, joined by slashes. The name of an array's element
// is its MemberId if every element has one that is a string and no two are the same; else its
// @odata.id under the same condition; else its position from 0:
//   "Temperatures[MemberId=2]/ReadingCelsius", "Humidity[0]".
// "~", "/" and "[" inside a name or an identifier are written "~0", "~1", "~2", so that no two
// numbers of a document have the same name.
std::vector<NumberRecord> NumbersOf(const Json& document);

// A number with its place in the document.
struct NumberPlace {
  NumberRecord number;
  std::string pointer;  // a JSON pointer
};

// The numbers that NumbersOf() gives, with their places.
std::vector<NumberPlace> NumberPlacesOf(const Json& document);

// One step of the path that a number's name describes: into a member of an object or into an
// element of an array.
struct NameStep {
  std::string text;             // the member's name; the element's identifier or position
  bool element = false;         // a step into an element
  std::string identifier = {};  // the element's member whose value is `text`; empty: a position
};

// The steps of a number's name, outermost first.
std::vector<NameStep> StepsOf(const std::string& name);

// Finds the place in a document that belongs to a number's name. Each array of the document is
// indexed at most once, however many names are looked up. The document outlives the finder.
class NumberFinder {
 public:
  struct Found {
    std::string pointer;    // a JSON pointer; "-" in it stands for an element that is missing
    bool hasPlace = false;  // the object around the last step exists, or the element itself
    bool present = false;   // the document has a number at this place
  };

  explicit NumberFinder(const Json& document) : m_document(document) {}

  Found Find(const std::vector<NameStep>& steps);

 private:
  // The member that identifies the elements of an array (empty: their positions do), and the
  // position of each identifier.
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
