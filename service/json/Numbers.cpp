// SPDX-License-Identifier: Apache-2.0
// The numbers of a document, their names and their places.
#include "service/json/Numbers.h"

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string>
#include <utility>

namespace cloudservice {

namespace {

// The name as a token of a JSON pointer.
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

// The name escaped like a token of a JSON pointer, and '[' as well, since an element's name begins
// with that.
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

// Whether every element of the array has a string `name` and no two are the same.
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

// The member that identifies the elements of the array; empty where their positions do.
std::string IdentifierOf(const Json& array) {
  for (const char* candidate : {"MemberId", "@odata.id"}) {
    if (Identifies(array, candidate)) return candidate;
  }
  return "";
}

class Collector {
 public:
  void Visit(const Json& value, const std::string& name, const std::string& pointer) {
    // The numbers inside this value have names that are longer still.
    if (name.size() > kMaxMemberName || Full()) return;
    if (value.is_number()) {
      m_numbers.push_back({{name, value.dump()}, pointer});
    } else if (value.is_object()) {
      const std::string begin = pointer.empty() ? "" : name + "/";
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
    const std::string identifier = IdentifierOf(array);
    for (std::size_t i = 0; i < array.size() && !Full(); ++i) {
      const std::string which =
          identifier.empty()
              ? std::to_string(i)
              : identifier + "=" + Escaped(array[i].at(identifier).get<std::string>());
      Visit(array[i], name + "[" + which + "]", pointer + "/" + std::to_string(i));
    }
  }

  std::vector<NumberPlace> m_numbers;
};

// Undoes Escaped().
std::string Unescaped(const std::string& text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool escape = text[i] == '~' && i + 1 < text.size();
    if (escape) ++i;
    out += !escape ? text[i] : text[i] == '0' ? '~' : text[i] == '1' ? '/' : '[';
  }
  return out;
}

// Reads the step into an element whose opening bracket is at `begin`, and moves `begin` behind it.
NameStep ElementStep(const std::string& name, std::size_t& begin) {
  // A "]" ends the element only before "/", "[" or the end of the name; any other "]" is part of
  // the identifier.
  std::size_t end = name.find(']', begin);
  while (end != std::string::npos && end + 1 < name.size() && name[end + 1] != '/' &&
         name[end + 1] != '[') {
    end = name.find(']', end + 1);
  }
  const std::string which = name.substr(begin + 1, end - begin - 1);
  begin = end == std::string::npos ? name.size() : end + 1;
  const std::size_t equals = which.find('=');
  if (equals == std::string::npos) return {which, true};
  return {Unescaped(which.substr(equals + 1)), true, which.substr(0, equals)};
}

}  // namespace

std::vector<NameStep> StepsOf(const std::string& name) {
  std::size_t begin = std::min(name.find_first_of("/["), name.size());
  std::vector<NameStep> steps = {{Unescaped(name.substr(0, begin))}};
  while (begin < name.size()) {
    if (name[begin] == '[') {
      steps.push_back(ElementStep(name, begin));
      continue;
    }
    const std::size_t end = std::min(name.find_first_of("/[", begin + 1), name.size());
    steps.push_back({Unescaped(name.substr(begin + 1, end - begin - 1))});
    begin = end;
  }
  return steps;
}

std::optional<std::size_t> NumberFinder::PositionOf(const Json& array, const NameStep& step) {
  const auto [known, isNew] = m_arrays.try_emplace(&array);
  Elements& elements = known->second;
  if (isNew) {
    elements.identifier = IdentifierOf(array);
    for (std::size_t i = 0; i < array.size() && !elements.identifier.empty(); ++i) {
      elements.positions[array[i].at(elements.identifier).get<std::string>()] = i;
    }
  }
  if (step.identifier != elements.identifier) return std::nullopt;
  if (elements.identifier.empty()) {
    const std::size_t position = std::strtoull(step.text.c_str(), nullptr, 10);
    return position < array.size() ? std::optional<std::size_t>(position) : std::nullopt;
  }
  const auto found = elements.positions.find(step.text);
  if (found == elements.positions.end()) return std::nullopt;
  return found->second;
}

NumberFinder::Found NumberFinder::Find(const std::vector<NameStep>& steps) {
  Found found;
  const Json* at = &m_document;
  for (const NameStep& step : steps) {
    const Json* const around = at;
    at = nullptr;
    std::string token = step.element ? "-" : PointerToken(step.text);
    if (step.element) {
      const bool array = around != nullptr && around->is_array();
      const auto position = array ? PositionOf(*around, step) : std::nullopt;
      if (position) at = &around->at(*position);
      if (position) token = std::to_string(*position);
      found.hasPlace = position.has_value();
    } else {
      found.hasPlace = around != nullptr && around->is_object();
      const bool there = found.hasPlace && around->contains(step.text);
      if (there) at = &around->at(step.text);
    }
    found.pointer += "/" + token;
  }
  found.present = at != nullptr && at->is_number();
  return found;
}

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
