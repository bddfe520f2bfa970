// SPDX-License-Identifier: Apache-2.0
// Names and units of numbers, for people.
#include "service/api/ReadingLabels.h"

#include <cctype>
#include <map>
#include <vector>

#include "service/api/Views.h"
#include "service/util/Text.h"

namespace cloudservice {

namespace {

const std::map<std::string, std::string>& Units() {
  static const std::map<std::string, std::string> units = {
      {"celsius", "°C"}, {"cel", "°C"},          {"fahrenheit", "°F"}, {"kelvin", "K"},
      {"percent", "%"},  {"%rh", "%"},           {"volts", "V"},       {"amps", "A"},
      {"amperes", "A"},  {"watts", "W"},         {"kilowatts", "kW"},  {"rpm", "rpm"},
      {"pascals", "Pa"}, {"kilopascals", "kPa"}, {"bar", "bar"},       {"hertz", "Hz"},
      {"hz", "Hz"},      {"seconds", "s"},       {"minutes", "min"},   {"hours", "h"},
      {"meters", "m"},   {"liters", "l"}};
  return units;
}

bool IsUpper(char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; }

// The words of a name: "Fan", "Speed", "RPM" of "FanSpeedRPM".
std::vector<std::string> Words(const std::string& name) {
  std::vector<std::string> words;
  for (std::size_t i = 0; i < name.size(); ++i) {
    const bool begins =
        i == 0 ||
        (IsUpper(name[i]) &&
         (!IsUpper(name[i - 1]) || (i + 1 < name.size() && !IsUpper(name[i + 1]) &&
                                    std::isalpha(static_cast<unsigned char>(name[i + 1])) != 0)));
    if (begins) words.emplace_back();
    words.back() += name[i];
  }
  return words;
}

// The words as a phrase: "Fan speed". Abbreviations keep their capitals.
std::string Sentence(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    if (text.empty()) {
      text = word;
    } else {
      text += " " + (word.size() > 1 && IsUpper(word[1]) ? word : Lower(word));
    }
  }
  return text;
}

// Removes the unit from the end of the words and returns it; none when they end in no unit.
std::optional<std::string> TakeUnit(std::vector<std::string>& words) {
  if (words.size() < 2) return std::nullopt;
  const auto found = Units().find(Lower(words.back()));
  if (found == Units().end()) return std::nullopt;
  words.pop_back();
  return found->second;
}

std::optional<std::string> ReadingUnit(const Json& object) {
  const Json told = TextOrNull(object, "ReadingUnits");
  if (!told.is_string() || told.get_ref<const std::string&>().empty()) return std::nullopt;
  const auto found = Units().find(Lower(told.get<std::string>()));
  return found == Units().end() ? told.get<std::string>() : found->second;
}

bool Holds(const std::string& text, const char* word) {
  return Lower(text).find(word) != std::string::npos;
}

std::optional<std::string> QuantityOf(const std::string& text,
                                      const std::optional<std::string>& unit) {
  if (unit == "°C" || unit == "°F") return "temperature";
  if (Holds(text, "humidity") && (!unit || unit == "%")) return "humidity";
  if (Holds(text, "temperature") && (!unit || unit == "K")) return "temperature";
  return std::nullopt;
}

// The label of an extreme of seven days: of HighestTemperature, LowestTemperature, HighestHumidity
// or LowestHumidity; none for every other member.
std::optional<ReadingLabel> ExtremeOf(const std::string& member) {
  for (const std::string extreme : {"Highest", "Lowest"}) {
    if (member.rfind(extreme, 0) != 0) continue;
    const std::string rest = member.substr(extreme.size());
    if (rest == "Temperature") {
      return ReadingLabel{extreme + " temperature", "°C", "temperature", Lower(extreme)};
    }
    if (rest == "Humidity")
      return ReadingLabel{extreme + " humidity", "%", "humidity", Lower(extreme)};
  }
  return std::nullopt;
}

// The name of the part that the object stands for; empty when it has none.
std::string NameOf(const Json& object) {
  for (const char* member : {"Name", "DeviceName", "MemberId"}) {
    const Json name = TextOrNull(object, member);
    if (name.is_string() && !name.get_ref<const std::string&>().empty()) return name;
  }
  return "";
}

// The label of the member `member` of `object`, whose name is `owner`. `position` follows the
// member's words in the label's name.
ReadingLabel LabelIn(const Json& object, const std::string& owner, const std::string& member,
                     const std::string& position) {
  if (std::optional<ReadingLabel> extreme = ExtremeOf(member)) return *std::move(extreme);
  std::vector<std::string> words = Words(member);
  ReadingLabel label;
  label.unit = TakeUnit(words);
  const bool reading = words.size() == 1 && words.front() == "Reading";
  if (reading && !label.unit) label.unit = ReadingUnit(object);
  label.name = reading && !owner.empty() ? owner : Sentence(words) + position;
  if (!reading && !owner.empty()) label.name = owner + ": " + label.name;
  const std::string told = TextMember(object, "ReadingType").value_or("");
  label.quantity = QuantityOf(reading ? owner + " " + told : member, label.unit);
  return label;
}

// The label of the "Reading" of an excerpt of a sensor, which is the value of the member `member`;
// none where that is no excerpt. `owner` and `position` as for LabelIn().
std::optional<ReadingLabel> ExcerptOf(const std::string& owner, const std::string& member,
                                      const std::string& position) {
  std::vector<std::string> words = Words(member);
  ReadingLabel label;
  label.unit = TakeUnit(words);
  if (!label.unit) return std::nullopt;
  label.name = owner.empty() ? Sentence(words) + position : owner;
  label.quantity = QuantityOf(member, label.unit);
  return label;
}

// Takes the positions of an element of arrays off the end of its place.
std::string TakePosition(const Json& document, Json::json_pointer& place) {
  std::string position;
  while (!place.empty() && document.at(place.parent_pointer()).is_array()) {
    position = " " + place.back() + position;
    place.pop_back();
  }
  return position;
}

std::string TakePosition(std::vector<NameStep>& steps) {
  std::string position;
  for (; !steps.empty() && steps.back().element; steps.pop_back()) {
    position = " " + steps.back().text + position;
  }
  return position;
}

bool IsReading(const std::string& member) { return member == "Reading"; }

}  // namespace

ReadingLabel LabelOf(const Json& document, const std::string& pointer) {
  Json::json_pointer place(pointer);
  // An element of an array of numbers has the name of the array and its position.
  const std::string position = TakePosition(document, place);
  const std::string member = place.back();
  Json::json_pointer around = place.parent_pointer();
  const Json& object = document.at(around);
  const bool isSensor = around.empty() && member.rfind("Reading", 0) == 0;
  const std::string owner = around.empty() && !isSensor ? "" : NameOf(object);
  if (IsReading(member) && !around.empty() && !ReadingUnit(object)) {
    const std::string element = TakePosition(document, around);
    if (!around.empty()) {
      if (const auto excerpt = ExcerptOf(owner, around.back(), element)) return *excerpt;
    }
  }
  return LabelIn(object, owner, member, position);
}

ReadingLabel LabelOf(const std::vector<NameStep>& steps) {
  std::vector<NameStep> rest = steps;
  const std::string position = TakePosition(rest);
  if (rest.empty()) return LabelIn(Json::object(), "", "", position);
  const std::string member = rest.back().text;
  rest.pop_back();
  const bool named = !rest.empty() && rest.back().identifier == "MemberId";
  const std::string owner = named ? rest.back().text : "";
  const std::string element = TakePosition(rest);
  if (IsReading(member) && !rest.empty()) {
    if (const auto excerpt = ExcerptOf(owner, rest.back().text, element)) return *excerpt;
  }
  return LabelIn(Json::object(), owner, member, position);
}

}  // namespace cloudservice
