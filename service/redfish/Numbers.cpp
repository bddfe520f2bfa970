#include "service/redfish/Numbers.h"

#include <set>
#include <string>
#include <utility>

namespace cloudservice {

namespace {

// As a JSON pointer has it.
std::string PointerToken(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '~') {
      out += "~0";
    } else if (c == '/') {
      out += "~1";
    } else {
      out += c;
    }
  }
  return out;
}

// The same, with '[' told apart too: behind it an element's name begins.
std::string Escaped(const std::string& text) {
  std::string out;
  for (const char c : PointerToken(text)) {
    if (c == '[') {
      out += "~2";
    } else {
      out += c;
    }
  }
  return out;
}

// Whether the member `name` tells all elements of the array apart.
bool Identifies(const Json& array, const char* name) {
  std::set<std::string> seen;
  for (const Json& element : array) {
    if (!element.is_object()) return false;
    const auto found = element.find(name);
    if (found == element.end() || !found->is_string()) return false;
    if (!seen.insert(found->get<std::string>()).second) return false;
  }
  return true;
}

class Collector {
 public:
  void Visit(const Json& value, const std::string& name, const std::string& pointer) {
    // What lies below has a longer name still.
    if (name.size() > kMaxMemberName || Full()) return;
    if (value.is_number()) {
      m_numbers.push_back({{name, value.dump()}, pointer});
    } else if (value.is_object()) {
      const std::string begin = name.empty() ? "" : name + "/";
      for (const auto& [key, member] : value.items()) {
        Visit(member, begin + Escaped(key), pointer + "/" + PointerToken(key));
      }
    } else if (value.is_array()) {
      VisitArray(value, name, pointer);
    }
  }

  std::vector<NumberPlace> Take() { return std::move(m_numbers); }

 private:
  bool Full() const { return m_numbers.size() >= static_cast<std::size_t>(kMaxHistoryMembers); }

  void VisitArray(const Json& array, const std::string& name, const std::string& pointer) {
    const char* identifier = nullptr;
    for (const char* candidate : {"MemberId", "@odata.id"}) {
      if (identifier == nullptr && Identifies(array, candidate)) identifier = candidate;
    }
    for (std::size_t i = 0; i < array.size() && !Full(); ++i) {
      const std::string which =
          identifier == nullptr
              ? std::to_string(i)
              : std::string(identifier) + "=" + Escaped(array[i].at(identifier).get<std::string>());
      Visit(array[i], name + "[" + which + "]", pointer + "/" + std::to_string(i));
    }
  }

  std::vector<NumberPlace> m_numbers;
};

}  // namespace

std::vector<NumberRecord> NumbersOf(const Json& document) {
  std::vector<NumberRecord> numbers;
  for (NumberPlace& place : NumberPlacesOf(document)) numbers.push_back(std::move(place.number));
  return numbers;
}

std::vector<NumberPlace> NumberPlacesOf(const Json& document) {
  Collector collector;
  collector.Visit(document, "", "");
  return collector.Take();
}

}  // namespace cloudservice
