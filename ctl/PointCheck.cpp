// SPDX-License-Identifier: Apache-2.0
// map check: one point of the map.
#include "ctl/PointCheck.h"

#include <algorithm>
#include <initializer_list>
#include <string>
#include <vector>

#include "host/util/UnknownKeys.h"
#include "platform/pld/PldConstants.h"

namespace ctl {

namespace {

using cloudclient::PointPatchEntry;

// One point of the map under a look.
class PointLook {
 public:
  PointLook(int32_t id, const PointPatchEntry& point, const host::DeviceEngine* device,
            Findings& findings)
      : m_id(id), m_point(point), m_device(device), m_findings(findings) {}

  void Source() const;
  void Event() const;
  void Number() const;

 private:
  void Find(const std::string& text) const;
  void Type(const char* argument, const std::string& type,
            std::initializer_list<const char*> types) const;
  void FirstArgument() const;
  void SecondArgument() const;
  void AskedName(const char* key, const std::string& name) const;
  void AskedList(const char* key, const std::string& list) const;
  void AskedNumber(const char* key, int32_t number) const;

  const int32_t m_id;
  const PointPatchEntry& m_point;
  const host::DeviceEngine* const m_device;
  Findings& m_findings;
};

void PointLook::Find(const std::string& text) const {
  m_findings.push_back("point " + std::to_string(m_id) + ": " + text);
}

// Its number: no change of value comes with one that the device does not have, nor with its
// label's.
void PointLook::Number() const {
  if (m_device == nullptr) return;
  const auto number = static_cast<uint16_t>(m_id);
  if (number == m_id && number != pld::kLabelPoint && m_device->IsPoint(number)) return;
  Find("the device has no such point");
}

// Where its value comes from.
void PointLook::Source() const {
  if (m_point.pld.empty() && m_point.pldQueryArgs.empty()) {
    Find("it has no source of its value");
  } else if (m_point.humAccum && m_point.pld.empty()) {
    Find("a humidity with \"7dayHumAccum\" is read by \"pld\" each day");
  }
  if (!m_point.pld.empty()) AskedName("pld", m_point.pld);
  if (!m_point.pldQueryArgs.empty()) AskedNumber("pldQueryArgs", m_point.queryArgs[0]);
}

void PointLook::Event() const {
  if (m_point.msgid.empty() || m_point.numArgs <= 0) return;
  if (m_point.message.find("%1") == std::string::npos) {
    Find("the event's message has no \"%1\" for its first argument");
  }
  FirstArgument();
  if (m_point.numArgs > 1 && m_point.message.find("%2") == std::string::npos) {
    Find("the event's message has no \"%2\" for its second argument");
  }
  SecondArgument();
}

void PointLook::FirstArgument() const {
  Type("arg1", m_point.arg1Type, {"pld", "pldQueryArgs", "old"});
  if (m_point.arg1Type == "pld") AskedName("arg1", m_point.arg1);
  if (m_point.arg1Type == "pldQueryArgs") AskedList("arg1", m_point.arg1);
}

void PointLook::SecondArgument() const {
  // The kind of the second argument is asked of the first, but for a document.
  const bool isList = m_point.arg1Type == "pldQueryArgs" && m_point.arg2Type != "pld";
  if (m_point.numArgs > 1 && !isList) Type("arg2", m_point.arg2Type, {"pld"});
  // What was before is read by the name in the second argument at first, however many there are.
  if (m_point.arg1Type == "old" || (m_point.numArgs > 1 && m_point.arg2Type == "pld")) {
    AskedName("arg2", m_point.arg2);
  } else if (m_point.numArgs > 1 && isList) {
    AskedList("arg2", m_point.arg2);
  }
}

void PointLook::Type(const char* argument, const std::string& type,
                     std::initializer_list<const char*> types) const {
  if (std::find(types.begin(), types.end(), type) != types.end()) return;
  Find("\"" + std::string(argument) + "Type\" is " + Quoted(type) + ": " + argument +
       " has no value of its own");
}

// A value that is asked for by the point's name.
void PointLook::AskedName(const char* key, const std::string& name) const {
  std::string text;
  if (m_device == nullptr || m_device->NamedText(name, text)) return;
  std::vector<std::string> names;
  for (const host::PointModel& point : m_device->Model().points) names.push_back(point.name);
  Find(Quoted(key) + " asks for point " + Quoted(name) + ", which the device does not have" +
       host::MeantHint(name, names));
}

// A value that is asked for by a list of numbers, of which the first is the point's.
void PointLook::AskedList(const char* key, const std::string& list) const {
  int32_t numbers[cloudclient::kQueryArgs] = {};
  if (cloudclient::PatchMap::ConvertQueryArgs(list, numbers, cloudclient::kQueryArgs) != 0) {
    Find(Quoted(key) + " is " + Quoted(list) + ", not five numbers: " + key + " has no value");
  } else {
    AskedNumber(key, numbers[0]);
  }
}

void PointLook::AskedNumber(const char* key, int32_t number) const {
  if (m_device == nullptr || m_device->IsPoint(static_cast<uint16_t>(number))) return;
  // Its own number is told already.
  if (number == m_id) return;
  Find(Quoted(key) + " asks for point " + std::to_string(number) +
       ", which the device does not have");
}

}  // namespace

void CheckPoint(int32_t id, const PointPatchEntry& point, const host::DeviceEngine* device,
                Findings& findings) {
  const PointLook look(id, point, device, findings);
  look.Source();
  look.Event();
  look.Number();
}

}  // namespace ctl
