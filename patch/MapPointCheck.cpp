// SPDX-License-Identifier: Apache-2.0
// What in a point of a map, and in its event, will not work.
#include "patch/MapPointCheck.h"

#include <algorithm>
#include <initializer_list>
#include <string>

#include "platform/pld/PldConstants.h"

namespace cloudclient {

namespace {

// The check of one point.
class PointCheck {
 public:
  PointCheck(int32_t id, const PointPatchEntry& point, const MapSurroundings& surroundings,
             Findings& findings)
      : m_id(id), m_point(point), m_surroundings(surroundings), m_findings(findings) {}

  void CheckSource() const;
  void CheckEvent() const;
  void CheckNumber() const;

 private:
  void Add(const std::string& text) const;
  void CheckType(const char* argument, const std::string& type,
                 std::initializer_list<const char*> types) const;
  void CheckFirstArgument() const;
  void CheckSecondArgument() const;
  void CheckName(const char* key, const std::string& name) const;
  void CheckList(const char* key, const std::string& list) const;
  void CheckAskedNumber(const char* key, int32_t number) const;

  const int32_t m_id;
  const PointPatchEntry& m_point;
  const MapSurroundings& m_surroundings;
  Findings& m_findings;
};

void PointCheck::Add(const std::string& text) const {
  m_findings.push_back("point " + std::to_string(m_id) + ": " + text);
}

// No change of value ever comes for a number that the device does not have, nor for its label's.
void PointCheck::CheckNumber() const {
  if (!m_surroundings.KnowsDevice()) return;
  const auto number = static_cast<uint16_t>(m_id);
  if (number == m_id && number != pld::kLabelPoint && m_surroundings.HasPoint(number)) return;
  Add("the device has no such point");
}

// Where its value comes from.
void PointCheck::CheckSource() const {
  if (m_point.pld.empty() && m_point.pldQueryArgs.empty()) {
    Add("it has no source of its value");
  } else if (m_point.humAccum && m_point.pld.empty()) {
    Add("a humidity with \"7dayHumAccum\" is read by \"pld\" each day");
  }
  if (!m_point.pld.empty()) CheckName("pld", m_point.pld);
  if (!m_point.pldQueryArgs.empty()) CheckAskedNumber("pldQueryArgs", m_point.queryArgs[0]);
}

void PointCheck::CheckEvent() const {
  if (m_point.msgid.empty() || m_point.numArgs <= 0) return;
  if (m_point.message.find("%1") == std::string::npos) {
    Add("the event's message has no \"%1\" for its first argument");
  }
  CheckFirstArgument();
  if (m_point.numArgs > 1 && m_point.message.find("%2") == std::string::npos) {
    Add("the event's message has no \"%2\" for its second argument");
  }
  CheckSecondArgument();
}

void PointCheck::CheckFirstArgument() const {
  CheckType("arg1", m_point.arg1Type, {"pld", "pldQueryArgs", "old"});
  if (m_point.arg1Type == "pld") CheckName("arg1", m_point.arg1);
  if (m_point.arg1Type == "pldQueryArgs") CheckList("arg1", m_point.arg1);
}

void PointCheck::CheckSecondArgument() const {
  // The first argument's type decides how the second is read, unless that is of the type "pld".
  const bool isList = m_point.arg1Type == "pldQueryArgs" && m_point.arg2Type != "pld";
  if (m_point.numArgs > 1 && !isList) CheckType("arg2", m_point.arg2Type, {"pld"});
  // The former value is read at the start by the second argument, however many there are.
  if (m_point.arg1Type == "old" || (m_point.numArgs > 1 && m_point.arg2Type == "pld")) {
    CheckName("arg2", m_point.arg2);
  } else if (m_point.numArgs > 1 && isList) {
    CheckList("arg2", m_point.arg2);
  }
}

void PointCheck::CheckType(const char* argument, const std::string& type,
                           std::initializer_list<const char*> types) const {
  if (std::find(types.begin(), types.end(), type) != types.end()) return;
  Add("\"" + std::string(argument) + "Type\" is " + Quoted(type) + ": " + argument +
      " has no value of its own");
}

// A value that is asked for by the point's name.
void PointCheck::CheckName(const char* key, const std::string& name) const {
  std::string hint;
  if (!m_surroundings.KnowsDevice() || m_surroundings.HasName(name, hint)) return;
  Add(Quoted(key) + " asks for point " + Quoted(name) + ", which the device does not have" + hint);
}

// A value that is asked for by a list of numbers, of which the first is the point's.
void PointCheck::CheckList(const char* key, const std::string& list) const {
  int32_t numbers[kQueryArgs] = {};
  if (PatchMap::ConvertQueryArgs(list, numbers, kQueryArgs) != 0) {
    Add(Quoted(key) + " is " + Quoted(list) + ", not five numbers: " + key + " has no value");
  } else {
    CheckAskedNumber(key, numbers[0]);
  }
}

void PointCheck::CheckAskedNumber(const char* key, int32_t number) const {
  if (!m_surroundings.KnowsDevice()) return;
  if (m_surroundings.HasPoint(static_cast<uint16_t>(number))) return;
  // CheckNumber says that of the point's own number.
  if (number == m_id) return;
  Add(Quoted(key) + " asks for point " + std::to_string(number) +
      ", which the device does not have");
}

}  // namespace

void CheckPoint(int32_t id, const PointPatchEntry& point, const MapSurroundings& surroundings,
                Findings& findings) {
  const PointCheck check(id, point, surroundings, findings);
  check.CheckSource();
  check.CheckEvent();
  check.CheckNumber();
}

}  // namespace cloudclient
